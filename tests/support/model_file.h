// Model files that exist, for engines that do not read them.
#ifndef PEXO_TESTS_SUPPORT_MODEL_FILE_H_
#define PEXO_TESTS_SUPPORT_MODEL_FILE_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

namespace pexo {

// An empty file that is gone again with the object; `name` may name folders.
class ModelFile {
 public:
  explicit ModelFile(const std::string& name) {
    static int number = 0;
    folder_ = std::filesystem::path(testing::TempDir()) /
              ("pexo." + std::to_string(getpid()) + "." + std::to_string(number++));
    path_ = folder_ / name;
    std::filesystem::create_directories(path_.parent_path());
    std::ofstream(path_).flush();
  }
  ~ModelFile() { std::filesystem::remove_all(folder_); }
  ModelFile(const ModelFile&) = delete;
  ModelFile& operator=(const ModelFile&) = delete;

  std::string path() const { return path_.string(); }

 private:
  std::filesystem::path folder_, path_;
};

}  // namespace pexo

#endif  // PEXO_TESTS_SUPPORT_MODEL_FILE_H_
