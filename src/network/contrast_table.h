// SPDX-License-Identifier: Apache-2.0
// The grey-level curve of one-channel models.
#ifndef PEXO_NETWORK_CONTRAST_TABLE_H_
#define PEXO_NETWORK_CONTRAST_TABLE_H_

#include <cstdint>
#include <vector>

namespace pexo {

// 256 entries: grey level i stands for the logit x = sigmoid_min + i * (sigmoid_max - sigmoid_min) / 255, and entry i
// is the logistic function of x, stretched so that the ends of the range become 0 and 255, rounded to nearest.
std::vector<uint8_t> MakeContrastTable(float sigmoid_min, float sigmoid_max);

}  // namespace pexo

#endif  // PEXO_NETWORK_CONTRAST_TABLE_H_
