// SPDX-License-Identifier: Apache-2.0
// What cameras offer and send: which mode is asked for, what is taken, and how it is fitted into the output's pictures.
#include <gtest/gtest.h>
#include <linux/videodev2.h>
#include <spa/param/video/format-utils.h>

#include "live/device_modes.h"
#include "live/fit.h"
#include "live/pipewire_connection.h"

namespace pexo::live {
namespace {

TEST(Camera, IsAskedForColourAtItsFastestAndLargestAndNotCompressed) {
  const DeviceMode modes[] = {{V4L2_PIX_FMT_GREY, {1280, 720}, 60},  {V4L2_PIX_FMT_YUYV, {1280, 720}, 10},
                              {V4L2_PIX_FMT_MJPEG, {1280, 720}, 30}, {V4L2_PIX_FMT_YUYV, {640, 480}, 60},
                              {V4L2_PIX_FMT_NV12, {1280, 720}, 30},  {V4L2_PIX_FMT_YUYV, {1280, 960}, 30}};
  EXPECT_EQ(BestMode(modes, {1280, 720}, 30).value().pixels, V4L2_PIX_FMT_NV12);
  EXPECT_EQ(BestMode(std::span(modes).first(2), {1280, 720}, 30).value().pixels, V4L2_PIX_FMT_YUYV);
  EXPECT_FALSE(BestMode(std::span(modes).last(1), {1280, 720}, 30));
}

TEST(Camera, OfPipeWireMustSendPicturesOfAnEvenSize) {
  for (const auto& [width, height] : {std::pair(64u, 48u), {63, 48}, {64, 47}, {0, 0}}) {
    uint8_t bytes[512];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(bytes, sizeof bytes);
    spa_video_info_raw info{};
    info.format = SPA_VIDEO_FORMAT_NV12;
    info.size = {width, height};
    const auto format = ParseFormat(*spa_format_video_raw_build(&builder, SPA_PARAM_Format, &info));
    EXPECT_EQ(format.has_value(), width * height == 64 * 48) << width << "x" << height;
  }
}

TEST(Camera, PicturesKeepTheirMatrixBetweenBlackBars) {
  const media::AvFrame frame = PlainFrame({64, 64}, 255);
  frame->color_range = AVCOL_RANGE_JPEG;
  frame->colorspace = AVCOL_SPC_BT709;
  media::FrameConverter converter;
  const media::AvFrame fitted = FitFrame(*frame, {128, 64}, converter);
  EXPECT_EQ(fitted->colorspace, AVCOL_SPC_BT709);
  EXPECT_EQ(fitted->color_range, AVCOL_RANGE_MPEG);
  for (const auto& [x, luma] : {std::pair(31, 16), {32, 235}, {95, 235}, {96, 16}}) {
    EXPECT_TRUE(fitted->data[0][x] == luma && fitted->data[1][x / 2] == 128 && fitted->data[2][x / 2] == 128) << x;
  }
}

}  // namespace
}  // namespace pexo::live
