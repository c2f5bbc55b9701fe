// SPDX-License-Identifier: Apache-2.0
// What the library logs, read back from standard error, where the host's log library writes.
#ifndef PEXO_TESTS_SUPPORT_LOG_LINES_H_
#define PEXO_TESTS_SUPPORT_LOG_LINES_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace pexo {

using Lines = std::vector<std::string>;

// Runs `action` and returns the messages it logged, in order, without the tag. Not nestable.
Lines LogLines(const auto& action) {
  const std::string tag = "LOG_HUMANBODYSEG: ";
  testing::internal::CaptureStderr();
  action();
  std::istringstream captured(testing::internal::GetCapturedStderr());
  Lines lines;
  for (std::string line; std::getline(captured, line);) {
    EXPECT_EQ(line.rfind(tag, 0), 0u) << "without the tag: " << line;
    lines.push_back(line.substr(std::min(tag.size(), line.size())));
  }
  return lines;
}

}  // namespace pexo

#endif  // PEXO_TESTS_SUPPORT_LOG_LINES_H_
