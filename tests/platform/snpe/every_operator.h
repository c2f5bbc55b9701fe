// SPDX-License-Identifier: Apache-2.0
// The model of every_operator.json.
#ifndef PEXO_TESTS_EVERY_OPERATOR_H_
#define PEXO_TESTS_EVERY_OPERATOR_H_

#include <cstdint>
#include <string>
#include <vector>

namespace pexo::test {

// Bytes of a TensorFlow Lite file, [1, 6, 12, 3] -> [1, 6, 2, 1]. `from`, where the text has it first, is replaced by
// `to`. The filters consist of quarters, from -5 to 5 of them, in no obvious order.
std::vector<uint8_t> EveryOperatorModel(const std::string& from = "", const std::string& to = "");

}  // namespace pexo::test

#endif  // PEXO_TESTS_EVERY_OPERATOR_H_
