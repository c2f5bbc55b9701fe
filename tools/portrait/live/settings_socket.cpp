// SPDX-License-Identifier: Apache-2.0
#include "live/settings_socket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "common/failure.h"

namespace pexo::live {
namespace {

constexpr size_t kMaxLine = 4096;
constexpr size_t kMaxClients = 16;
constexpr timeval kPatience = {5, 0};

[[noreturn]] void Fail(const std::string& path) {
  throw tools::Failure(path + ": " + std::strerror(errno));
}

sockaddr_un AddressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) throw tools::Failure(path + ": too long a path for a socket");
  std::memcpy(address.sun_path, path.c_str(), path.size());
  return address;
}

FileDescriptor NewSocket(int flags) {
  return FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
}

// Held as long as the descriptor is open, so not by a program that was killed: a socket file without a lock is
// nobody's.
FileDescriptor LockFile(const std::string& path) {
  FileDescriptor lock(::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!lock.is_open()) Fail(path);
  if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) throw tools::Failure("portrait live is running already");
  return lock;
}

}  // namespace

std::string SettingsSocketPath() {
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  if (folder == nullptr || *folder == 0) throw tools::Failure("XDG_RUNTIME_DIR names no folder for the settings");
  return std::string(folder) + "/portrait.sock";
}

std::string AskSettingsSocket(const std::string& path, const std::string& line) {
  const FileDescriptor socket = NewSocket(0);
  const sockaddr_un address = AddressOf(path);
  for (const int limit : {SO_RCVTIMEO, SO_SNDTIMEO}) {  // SO_SNDTIMEO also limits connect()
    ::setsockopt(socket.get(), SOL_SOCKET, limit, &kPatience, sizeof kPatience);
  }
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw tools::Failure("portrait live is not running");
  }
  const std::string sent = line + "\n";
  if (::send(socket.get(), sent.data(), sent.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(sent.size())) Fail(path);
  std::string answer;
  for (char byte; ::recv(socket.get(), &byte, 1, 0) == 1; answer += byte) {
    if (byte == '\n') return answer;
  }
  throw tools::Failure("portrait live does not answer");
}

SettingsSocket::SettingsSocket(const std::string& path) : path_(path), listener_(NewSocket(SOCK_NONBLOCK)) {
  const sockaddr_un address = AddressOf(path);
  lock_ = LockFile(path + ".lock");
  ::unlink(path.c_str());
  // The file takes the mode of the descriptor, so it never has another.
  if (::fchmod(listener_.get(), 0600) != 0 ||
      ::bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener_.get(), static_cast<int>(kMaxClients)) != 0) {
    Fail(path);
  }
}

SettingsSocket::~SettingsSocket() {
  ::unlink(path_.c_str());
}

void SettingsSocket::AddTo(std::vector<pollfd>& waiting) const {
  waiting.push_back({listener_.get(), POLLIN, 0});
  for (const Client& client : clients_) waiting.push_back({client.socket.get(), POLLIN, 0});
}

void SettingsSocket::Serve(const Answer& answer) {
  Accept();
  clients_.remove_if([&](Client& client) { return !Serve(client, answer); });
}

void SettingsSocket::Accept() {
  for (;;) {
    FileDescriptor socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket.is_open()) return;
    if (clients_.size() == kMaxClients) clients_.pop_front();
    clients_.push_back({std::move(socket), {}});
  }
}

// Reads one chunk per call so that one client cannot starve the others.
bool SettingsSocket::Serve(Client& client, const Answer& answer) {
  char bytes[512];
  const ssize_t count = ::recv(client.socket.get(), bytes, sizeof bytes, 0);
  if (count < 0) return errno == EAGAIN || errno == EINTR;
  if (count == 0) return false;
  client.line.append(bytes, static_cast<size_t>(count));
  for (size_t end = 0; (end = client.line.find('\n')) != std::string::npos; client.line.erase(0, end + 1)) {
    const std::string text = answer(client.line.substr(0, end)) + "\n";
    if (::send(client.socket.get(), text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size())) {
      return false;
    }
  }
  return client.line.size() <= kMaxLine;
}

}  // namespace pexo::live
