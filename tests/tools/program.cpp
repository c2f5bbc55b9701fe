#include "tests/tools/program.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace pexo::test {
namespace {

namespace fs = std::filesystem;

std::string ReadAll(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

}  // namespace

Workplace::Workplace() {
  std::string name = (fs::temp_directory_path() / "portrait-test-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
  folder_ = name;
}

Workplace::~Workplace() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

Outcome Workplace::Portrait(const std::vector<std::string>& arguments) const {
  // Beside the folder, so that the program's own folder holds the program's files only.
  const std::string out = folder_.string() + ".out";
  const std::string err = folder_.string() + ".err";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addchdir_np(&actions, folder_.c_str());
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
  std::vector<std::string> words{PEXO_PORTRAIT};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  pid_t child = 0;
  const int error = ::posix_spawn(&child, PEXO_PORTRAIT, &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error("the program cannot be started");
  int status = 0;
  ::waitpid(child, &status, 0);
  Outcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadAll(out), ReadAll(err)};
  fs::remove(out);
  fs::remove(err);
  return outcome;
}

void Workplace::Write(const std::string& name, const std::string& bytes) const {
  std::ofstream(folder_ / name, std::ios::binary) << bytes;
}

std::string Workplace::Read(const std::string& name) const {
  return ReadAll(folder_ / name);
}

std::vector<std::string> Workplace::Files() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder_)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

std::string WrongWithReport(const Outcome& outcome, int exit_status, const std::string& subject) {
  const std::string& report = outcome.standard_error;
  std::string wrong;
  if (outcome.exit_status != exit_status) wrong += "exit status " + std::to_string(outcome.exit_status) + "; ";
  if (!outcome.standard_output.empty()) wrong += "standard output is used; ";
  if (!report.starts_with("portrait: ")) wrong += "no \"portrait: \"; ";
  if (std::count(report.begin(), report.end(), '\n') != 1 || !report.ends_with('\n')) wrong += "not one line; ";
  if (report.find(subject) == std::string::npos) wrong += "does not name " + subject + "; ";
  return wrong.empty() ? wrong : wrong + report;
}

}  // namespace pexo::test
