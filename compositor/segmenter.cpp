// SPDX-License-Identifier: Apache-2.0
#include "segmenter.h"

#include <libyuv.h>
#include <qmx/qmx_image.h>

#include <cstring>
#include <stdexcept>

#include "frame_rows.h"

namespace pexo::compositor {
namespace {

std::string Reason(const char* what, int32_t status) {
  return std::string(what) + " (status " + std::to_string(status) + ")";
}

void Set(HumanBodySegHandle* handle, int32_t key, const void* value, const char* what) {
  const int32_t status = pexoHumanBodySegSetParam(handle, key, value);
  if (status != HUMANBODYSEG_OK) throw Error(Reason(what, status));
}

}  // namespace

void Segmenter::HandleDeleter::operator()(HumanBodySegHandle* handle) const {
  pexoHumanBodySegDestroy(handle);
}

Segmenter::Segmenter(const Model& model, int rotation) : model_(model), rotation_(rotation) {
  if (rotation != 0 && rotation != 90 && rotation != 180 && rotation != 270) {
    throw std::invalid_argument("the rotation must be 0, 90, 180 or 270");
  }
  if (model.width < 2 || model.height < 2 || model.width % 2 != 0 || model.height % 2 != 0) {
    throw std::invalid_argument("a model's width and height must be even");
  }
  model_frame_.resize(static_cast<size_t>(model.width) * static_cast<size_t>(model.height) * 3 / 2);
  handle_.reset(pexoHumanBodySegCreate());
  if (handle_ == nullptr) throw std::bad_alloc();
  const int32_t effect = HUMANBODYSEG_EFFECT_MASK;
  Set(handle_.get(), PARAM_EFFECT_MODE, &effect, "the library has no mask view");
  Set(handle_.get(), PARAM_MODEL_PATH, model.path.c_str(), "the model's path is too long");
  const int32_t status = pexoHumanBodySegInit(handle_.get());
  if (status != HUMANBODYSEG_OK) throw Error(Reason(("cannot load the model " + model.path).c_str(), status));
}

Segmenter::~Segmenter() {
  pexoHumanBodySegUninit(handle_.get());
}

void Segmenter::Segment(const ConstFrame& frame, Segmentation& result) {
  CheckFrame(frame);
  const bool quarter = rotation_ % 180 != 0;
  const int width = quarter ? model_.height : model_.width;
  const int height = quarter ? model_.width : model_.height;
  result.picture.Resize(width, height);
  result.mask.Resize(width, height);
  scaler_.Scale(frame, result.picture);

  picture_.Resize(width, height);
  for (const auto plane : {&PlanarPicture::y, &PlanarPicture::u, &PlanarPicture::v}) {
    const Plane<uint8_t>& source = result.picture.*plane;
    for (int y = 0; y < source.height(); ++y) {
      std::memcpy((picture_.*plane).Row(y), source.Row(y), static_cast<size_t>(source.width()));
    }
  }
  picture_.range = frame.range;
  picture_.matrix = frame.matrix;
  ConvertColour(picture_, Range::kFull, Matrix::kBt601);
  MakeModelFrame();

  QmxImage image{};
  image.format = QMX_FORMAT_NV21;
  image.width = model_.width;
  image.height = model_.height;
  image.plane[0] = model_frame_.data();
  image.plane[1] = model_frame_.data() + static_cast<ptrdiff_t>(model_.width) * model_.height;
  image.stride[0] = image.stride[1] = model_.width;
  const int32_t status = pexoHumanBodySegProcess(handle_.get(), &image, nullptr);
  if (status != HUMANBODYSEG_OK) throw Error(Reason("the library could not find the person in a frame", status));

  const int back = (360 - rotation_) % 360;
  libyuv::RotatePlane(image.plane[0], model_.width, result.mask.Row(0), static_cast<int>(result.mask.stride()),
                      model_.width, model_.height, static_cast<libyuv::RotationMode>(back));
}

void Segmenter::MakeModelFrame() {
  const int width = model_.width, height = model_.height;
  libyuv::RotatePlane(picture_.y.Row(0), static_cast<int>(picture_.y.stride()), model_frame_.data(), width,
                      picture_.y.width(), picture_.y.height(), static_cast<libyuv::RotationMode>(rotation_));
  for (Plane<uint8_t>& plane : turned_) plane.Resize(width / 2, height / 2);
  Turn(picture_.u, rotation_, turned_[0]);
  Turn(picture_.v, rotation_, turned_[1]);
  const int stride = static_cast<int>(turned_[0].stride());
  libyuv::MergeUVPlane(turned_[1].Row(0), stride, turned_[0].Row(0), stride,
                       model_frame_.data() + static_cast<ptrdiff_t>(width) * height, width, width / 2, height / 2);
}

}  // namespace pexo::compositor
