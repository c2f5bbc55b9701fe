// SPDX-License-Identifier: Apache-2.0
#include "live/settings_socket.h"

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

constexpr size_t kMostLine = 4096;
constexpr size_t kMostClients = 16;
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

bool Connect(const FileDescriptor& socket, const std::string& path) {
  const sockaddr_un address = AddressOf(path);
  return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

}  // namespace

std::string SettingsSocketPath() {
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  if (folder == nullptr || *folder == 0) throw tools::Failure("XDG_RUNTIME_DIR names no folder for the settings");
  return std::string(folder) + "/portrait.sock";
}

std::string AskSettingsSocket(const std::string& path, const std::string& line) {
  const FileDescriptor socket = NewSocket(0);
  if (!socket.is_open() || !Connect(socket, path)) throw tools::Failure("portrait live is not running");
  ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
  const std::string sent = line + "\n";
  if (::send(socket.get(), sent.data(), sent.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(sent.size())) Fail(path);
  std::string answer;
  for (char byte; ::recv(socket.get(), &byte, 1, 0) == 1; answer += byte) {
    if (byte == '\n') return answer;
  }
  throw tools::Failure("portrait live does not answer");
}

SettingsSocket::SettingsSocket(const std::string& path) : path_(path) {
  if (Connect(NewSocket(0), path)) throw tools::Failure("portrait live is running already");
  ::unlink(path.c_str());
  listener_ = NewSocket(SOCK_NONBLOCK);
  const sockaddr_un address = AddressOf(path);
  // Before there are other threads: nobody else may connect at any time.
  const mode_t mask = ::umask(0177);
  const int status = ::bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  ::umask(mask);
  if (status != 0 || ::listen(listener_.get(), static_cast<int>(kMostClients)) != 0) Fail(path);
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
    if (clients_.size() < kMostClients) clients_.push_back({std::move(socket), {}});
  }
}

bool SettingsSocket::Serve(Client& client, const Answer& answer) {
  char bytes[512];
  for (;;) {
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
    if (client.line.size() > kMostLine) return false;
  }
}

}  // namespace pexo::live
