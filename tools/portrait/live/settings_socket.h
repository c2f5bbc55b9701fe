// SPDX-License-Identifier: Apache-2.0
// Settings from other programs while this one runs: a Unix socket of the user's own, lines in, an answer a line.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_SETTINGS_SOCKET_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_SETTINGS_SOCKET_H_

#include <poll.h>

#include <functional>
#include <list>
#include <string>
#include <vector>

#include "live/file_descriptor.h"

namespace pexo::live {

// In the folder that XDG_RUNTIME_DIR names. Throws tools::Failure without one.
std::string SettingsSocketPath();

// Sends one line and returns the answer. Throws tools::Failure when nobody answers within some seconds.
std::string AskSettingsSocket(const std::string& path, const std::string& line);

// Never waits. One thread.
class SettingsSocket {
 public:
  // The answer to a line; both without the line's end.
  using Answer = std::function<std::string(const std::string& line)>;

  // Throws tools::Failure, also when another program has it. Beside it lies a lock file, which stays.
  explicit SettingsSocket(const std::string& path);
  ~SettingsSocket();
  SettingsSocket(const SettingsSocket&) = delete;
  SettingsSocket& operator=(const SettingsSocket&) = delete;

  // Adds what to wait for.
  void AddTo(std::vector<pollfd>& waiting) const;
  // Answers whatever has come in.
  void Serve(const Answer& answer);

 private:
  struct Client {
    FileDescriptor socket;
    std::string line;  // as far as it is there
  };

  void Accept();
  // False if the client has gone, sent an over-long line or does not read its replies.
  static bool Serve(Client& client, const Answer& answer);

  std::string path_;
  FileDescriptor lock_;
  FileDescriptor listener_;
  std::list<Client> clients_;
};

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_SETTINGS_SOCKET_H_
