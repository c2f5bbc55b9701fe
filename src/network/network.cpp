// SPDX-License-Identifier: Apache-2.0
#include "network/network.h"

#include "common/clock.h"

namespace pexo {

int32_t Network::Process(QmxImage& frame, FrameParams& params, QmxImage& output) {
  const timeval start = WallClock();
  int32_t status = PreProcess(frame, params);
  if (status > 0) return status;
  status = Predict();
  if (status > 0) return status;
  status = PostProcess(params, output);
  execute_time = ElapsedMilliseconds(start, WallClock());
  return status;
}

}  // namespace pexo
