// Runs the portrait program as a user would, in a folder of the test's own.
#ifndef PEXO_TESTS_TOOLS_PROGRAM_H_
#define PEXO_TESTS_TOOLS_PROGRAM_H_

#include <filesystem>
#include <string>
#include <vector>

namespace pexo::test {

struct Outcome {
  int exit_status;  // -1: ended by a signal
  std::string standard_output;
  std::string standard_error;
};

// A folder that is removed with everything in it.
class Workplace {
 public:
  Workplace();
  ~Workplace();
  Workplace(const Workplace&) = delete;
  Workplace& operator=(const Workplace&) = delete;

  // Runs the program with the folder as the current one.
  Outcome Portrait(const std::vector<std::string>& arguments) const;

  std::filesystem::path operator/(const std::string& name) const { return folder_ / name; }
  void Write(const std::string& name, const std::string& bytes) const;
  std::string Read(const std::string& name) const;
  std::vector<std::string> Files() const;  // sorted

 private:
  std::filesystem::path folder_;
};

// A failure's report: status 1 or 2, nothing on standard output, one line on standard error that begins with
// "portrait: " and names the subject. Returns what is wrong, or nothing.
std::string WrongWithReport(const Outcome& outcome, int exit_status, const std::string& subject);

}  // namespace pexo::test

#endif  // PEXO_TESTS_TOOLS_PROGRAM_H_
