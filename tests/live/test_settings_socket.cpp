// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>

#include "common/failure.h"
#include "live/settings_socket.h"

namespace pexo::live {
namespace {

class SettingsSocketTest : public testing::Test {
 protected:
  const std::string path_ = testing::TempDir() + "portrait-" + std::to_string(::getpid()) + ".sock";

  ~SettingsSocketTest() override { std::filesystem::remove(path_ + ".lock"); }

  FileDescriptor Connect() const {
    FileDescriptor client(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    sockaddr_un address{AF_UNIX, {}};
    std::strncpy(address.sun_path, path_.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::connect(client.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return client;
  }
};

void Send(const FileDescriptor& client, const std::string& bytes) {
  EXPECT_EQ(::send(client.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
}

TEST_F(SettingsSocketTest, BelongsToOneProgramAtATime) {
  std::ofstream(path_) << "left behind by a program that was killed";
  {
    const SettingsSocket socket(path_);
    EXPECT_TRUE(std::filesystem::is_socket(path_));
    EXPECT_THROW(SettingsSocket another(path_), tools::Failure);
    EXPECT_TRUE(std::filesystem::is_socket(path_));
  }
  EXPECT_FALSE(std::filesystem::exists(path_));
  EXPECT_THROW(AskSettingsSocket(path_, "x"), tools::Failure);
  EXPECT_THROW(SettingsSocket too_long(std::string(200, 'x')), tools::Failure);
}

TEST_F(SettingsSocketTest, AnswersOneWhateverTheOthersDo) {
  SettingsSocket socket(path_);
  std::vector<std::string> lines;
  const auto answer = [&lines](const std::string& line) {
    lines.push_back(line);
    return line + "!";
  };
  std::vector<FileDescriptor> clients;
  Send(Connect(), "gone before its answer\n");  // which must not end the program
  for (int i = 0; i < 20; ++i) {                // more than are taken
    clients.push_back(Connect());
    socket.Serve(answer);
  }
  Send(clients.back(), std::string(10000, 'x'));
  for (int i = 0; i < 100; ++i) socket.Serve(answer);
  char byte = 0;
  EXPECT_TRUE(::recv(clients.back().get(), &byte, 1, 0) == 0 || errno == ECONNRESET) << "what is no line is not kept";
  auto asked = std::async(std::launch::async, [this] { return AskSettingsSocket(path_, "calm=1"); });
  while (asked.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) socket.Serve(answer);
  EXPECT_EQ(asked.get(), "calm=1!");
  EXPECT_EQ(lines, (std::vector<std::string>{"gone before its answer", "calm=1"}));
}

}  // namespace
}  // namespace pexo::live
