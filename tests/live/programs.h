// SPDX-License-Identifier: Apache-2.0
// Programs that the tests start, and waiting for what they do.
#ifndef PEXO_TESTS_LIVE_PROGRAMS_H_
#define PEXO_TESTS_LIVE_PROGRAMS_H_

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace pexo::test {

inline constexpr auto kPatience = std::chrono::seconds(60);  // for what takes well below a second
template <typename Condition>
bool Until(Condition condition) {
  for (const auto limit = std::chrono::steady_clock::now() + kPatience; std::chrono::steady_clock::now() < limit;) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return condition();
}

// A program that ends with the test at the latest: with the thread that started it, to be exact.
class Program {
 public:
  // `errors`: a file for its standard error; none: the test's.
  explicit Program(std::vector<std::string> words, const std::string& errors = "") {
    words.insert(words.begin(), {"setpriv", "--pdeathsig", "KILL"});
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    if (!errors.empty()) {
      ::posix_spawn_file_actions_addopen(&actions, 2, errors.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    }
    const int status = ::posix_spawnp(&id_, arguments[0], &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (status != 0) throw std::runtime_error(words[3]);
  }
  ~Program() { End(); }
  Program(Program&& other) noexcept : id_(std::exchange(other.id_, -1)) {}
  Program(const Program&) = delete;

  pid_t id() const { return id_; }

  // SIGTERM, or nothing for a program that ends by itself; returns the exit status.
  int End(int signal = SIGTERM) {
    if (id_ <= 0) return -1;
    if (signal != 0) ::kill(id_, signal);
    int status = 0;
    ::waitpid(std::exchange(id_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t id_ = -1;
};

}  // namespace pexo::test

#endif  // PEXO_TESTS_LIVE_PROGRAMS_H_
