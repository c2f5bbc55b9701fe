// The engine's interface: what it answers, and what it refuses.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <thread>

#include "engine/heads.h"
#include "model_writer.h"
#include "pexo_host/engine.h"
#include "session.h"

namespace pexo::test {
namespace {

using engine::HeadKind;
using zdl::DlContainer::IDlContainer;
using zdl::DlSystem::Runtime_t;
using zdl::DlSystem::UserBufferEncoding;
using zdl::DlSystem::UserBufferEncodingFloat;
using zdl::DlSystem::UserBufferEncodingTfN;
using zdl::SNPE::SNPEBuilder;
using zdl::SNPE::SNPEFactory;

constexpr size_t kHeight = 8;
constexpr size_t kWidth = 12;
constexpr size_t kPixels = kHeight * kWidth;

std::unique_ptr<IDlContainer> OpenModel(HeadKind head) {
  return IDlContainer::open(engine::WriteContainer(PackedModel(EveryOperatorModel(kHeight, kWidth).Bytes(), head)));
}

void FillRandomly(std::vector<uint8_t>& bytes, uint32_t seed) {
  std::mt19937 random(seed);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
}

std::string LastError() {
  return zdl::DlSystem::getLastErrorString();
}

TEST(Interface, OnlyTheCpuIsAvailable) {
  for (const Runtime_t runtime :
       {Runtime_t::UNSET, Runtime_t::CPU_FLOAT32, Runtime_t::GPU_FLOAT32_16_HYBRID, Runtime_t::DSP_FIXED8_TF,
        Runtime_t::GPU_FLOAT16, Runtime_t::CPU_FIXED8_TF, Runtime_t::AIP_FIXED8_TF}) {
    EXPECT_EQ(SNPEFactory::isRuntimeAvailable(runtime), runtime == Runtime_t::CPU_FLOAT32);
    const auto container = OpenModel(HeadKind::kTwoScores);
    const auto network = SNPEBuilder(container.get()).setRuntimeProcessor(runtime).build();
    EXPECT_EQ(network != nullptr, runtime == Runtime_t::CPU_FLOAT32);
  }
  EXPECT_NE(SNPEFactory::getLibraryVersion().asString().find("host"), std::string::npos);
}

TEST(Interface, NamesAndDimensions) {
  for (const auto& [head, channels] : {std::pair(HeadKind::kTwoScores, 2), std::pair(HeadKind::kLogitGrey, 1)}) {
    const auto container = OpenModel(head);
    const auto network = BuildNetwork(container.get());
    ASSERT_NE(network, nullptr);
    const auto inputs = network->getInputTensorNames();
    const auto outputs = network->getOutputTensorNames();
    ASSERT_TRUE(inputs && outputs);
    ASSERT_EQ((*inputs).size(), 1u);
    ASSERT_EQ((*outputs).size(), 1u);
    EXPECT_STREQ((*inputs).at(0), "picture");
    EXPECT_STREQ((*outputs).at(0), "person");
    const auto dimensions = [&](const char* name) {
      return (*network->getInputOutputBufferAttributes(name))->getDims();
    };
    EXPECT_EQ(dimensions("picture"), (zdl::DlSystem::TensorShape{1, kHeight, kWidth, 3}));
    EXPECT_EQ(dimensions("person"), (zdl::DlSystem::TensorShape{1, kHeight, kWidth, static_cast<size_t>(channels)}));
    EXPECT_FALSE(network->getInputOutputBufferAttributes("nobody"));
    EXPECT_FALSE(network->getInputOutputBufferAttributes(nullptr));
  }
}

TEST(Interface, WhatBuildRefuses) {
  const auto container = OpenModel(HeadKind::kTwoScores);
  zdl::DlSystem::StringList layers;
  EXPECT_EQ(SNPEBuilder(nullptr).build(), nullptr);
  EXPECT_NE(SNPEBuilder(container.get()).setOutputLayers(layers).build(), nullptr);
  layers.append("person");
  EXPECT_NE(SNPEBuilder(container.get()).setOutputLayers(layers).build(), nullptr);
  layers.append("nobody");
  EXPECT_EQ(SNPEBuilder(container.get()).setOutputLayers(layers).build(), nullptr);
  EXPECT_NE(LastError().find("nobody"), std::string::npos);
  // A network built for tensors of its own takes no buffers.
  Session session(SNPEBuilder(container.get()).setUseUserSuppliedBuffers(false).build());
  EXPECT_FALSE(session.Execute());
}

TEST(Interface, WhatTheBufferFactoryRefuses) {
  alignas(float) uint8_t memory[96] = {};
  UserBufferEncodingTfN tf8(0, 1.0f), tf16(0, 1.0f, 16), odd(0, 1.0f, 9), far_zero(256, 1.0f), no_step(0, 0.0f),
      negative(0, -1.0f), endless(0, INFINITY);
  UserBufferEncodingFloat real;
  struct Case {
    const char* name;
    void* address;
    size_t bytes;
    std::vector<size_t> strides;
    UserBufferEncoding* encoding;
    bool accepted;
  };
  const Case cases[] = {
      {"8 bits", memory, 24, {24, 6, 1}, &tf8, true},
      {"8 bits anywhere", memory + 1, 24, {24, 6, 1}, &tf8, true},
      {"float", memory, 96, {48, 12, 4}, &real, true},
      {"float out of alignment", memory + 1, 92, {48, 12, 4}, &real, false},
      {"no address", nullptr, 24, {24, 6, 1}, &tf8, false},
      {"no bytes", memory, 0, {24, 6, 1}, &tf8, false},
      {"no strides", memory, 24, {}, &tf8, false},
      {"no encoding", memory, 24, {24, 6, 1}, nullptr, false},
      {"16 bits", memory, 48, {48, 12, 2}, &tf16, false},
      {"9 bits", memory, 24, {24, 6, 1}, &odd, false},
      {"zero beyond 8 bits", memory, 24, {24, 6, 1}, &far_zero, false},
      {"step size 0", memory, 24, {24, 6, 1}, &no_step, false},
      {"step size below 0", memory, 24, {24, 6, 1}, &negative, false},
      {"endless step size", memory, 24, {24, 6, 1}, &endless, false},
  };
  for (const Case& test : cases) {
    const auto buffer =
        SNPEFactory::getUserBufferFactory().createUserBuffer(test.address, test.bytes, test.strides, test.encoding);
    EXPECT_EQ(buffer != nullptr, test.accepted) << test.name;
    if (buffer == nullptr) continue;
    EXPECT_EQ(buffer->getSize(), test.bytes);
    EXPECT_EQ(buffer->getStrides(), zdl::DlSystem::TensorShape(test.strides));
    EXPECT_EQ(buffer->getEncoding().getElementType(), test.encoding->getElementType());
    EXPECT_NE(&buffer->getEncoding(), test.encoding) << "the encoding is copied";
    EXPECT_FALSE(buffer->setBufferAddress(nullptr));
  }
}

// Everything is as it should be but one buffer.
TEST(Interface, WhatExecuteRefuses) {
  std::vector<uint8_t> memory(8 * kPixels * sizeof(float));
  UserBufferEncodingTfN tf8(0, 1.0f);
  UserBufferEncodingFloat real;
  struct Case {
    const char* name;
    const char* tensor;
    size_t bytes;
    std::vector<size_t> strides;
    UserBufferEncoding* encoding;
    bool accepted;
  };
  const size_t row = kWidth * 3;
  const Case inputs[] = {
      {"dense", "picture", kPixels * 3, {kPixels * 3, row, 3, 1}, &tf8, true},
      {"dense floats", "picture", kPixels * 12, {kPixels * 12, row * 4, 12, 4}, &real, true},
      {"another name", "person", kPixels * 3, {kPixels * 3, row, 3, 1}, &tf8, false},
      {"a byte less", "picture", kPixels * 3 - 1, {kPixels * 3, row, 3, 1}, &tf8, false},
      {"a byte more", "picture", kPixels * 3 + 1, {kPixels * 3, row, 3, 1}, &tf8, false},
      {"elements for bytes", "picture", kPixels * 3, {kPixels * 12, row * 4, 12, 4}, &real, false},
      {"strides in elements", "picture", kPixels * 12, {kPixels * 3, row, 3, 1}, &real, false},
      {"padded rows", "picture", kPixels * 3, {kPixels * 3, row + 4, 3, 1}, &tf8, false},
      {"planes", "picture", kPixels * 3, {kPixels * 3, kWidth, 1, kPixels}, &tf8, false},
      {"another batch stride", "picture", kPixels * 3, {0, row, 3, 1}, &tf8, false},
      {"rank 3", "picture", kPixels * 3, {row, 3, 1}, &tf8, false},
  };
  const auto container = OpenModel(HeadKind::kTwoScores);
  Session session(BuildNetwork(container.get()));
  auto& factory = SNPEFactory::getUserBufferFactory();
  for (const Case& test : inputs) {
    const auto buffer = factory.createUserBuffer(memory.data(), test.bytes, test.strides, test.encoding);
    ASSERT_NE(buffer, nullptr) << test.name;
    zdl::DlSystem::UserBufferMap map;
    map.add(test.tensor, buffer.get());
    EXPECT_EQ(session.network->execute(map, session.output.map), test.accepted) << test.name << ": " << LastError();
    // The output is held to the same rules: no case of the input's fits it.
    EXPECT_FALSE(session.network->execute(session.input.map, map)) << test.name;
    EXPECT_NE(LastError(), "");
  }

  const zdl::DlSystem::UserBufferMap none;
  EXPECT_FALSE(session.network->execute(none, session.output.map));
  EXPECT_FALSE(session.network->execute(session.input.map, none));
  zdl::DlSystem::UserBufferMap null_buffer;
  null_buffer.add("picture", nullptr);
  EXPECT_FALSE(session.network->execute(null_buffer, session.output.map));
  zdl::DlSystem::UserBufferMap too_many = session.input.map;
  too_many.add("nobody", too_many.getUserBuffer("picture"));
  EXPECT_FALSE(session.network->execute(too_many, session.output.map));
  EXPECT_TRUE(session.Execute()) << "failures leave the network usable";
}

// The heads on probabilities and logits worked out by hand; a NaN becomes the lower limit.
TEST(Interface, HeadsRoundAndLimit) {
  const std::vector<float> probabilities = {0.0f, 1.0f, 0.25f, 0.5f, 0.001f, -0.5f, 1.5f, NAN};
  std::vector<uint8_t> scores(16);
  engine::WriteOutput(probabilities, {.kind = HeadKind::kTwoScores}, {}, scores);
  EXPECT_EQ(scores, (std::vector<uint8_t>{255, 0, 0, 255, 191, 64, 128, 128, 255, 0, 255, 0, 0, 255, 0, 0}));

  const engine::Head grey = {.kind = HeadKind::kLogitGrey, .lowest = -20.01, .range = 49.06};
  // Levels 0, 255, 104.006, 109.2, then beyond both ends.
  const std::vector<float> logits = {-20.01f, 29.05f, 0.0f, 1.0f, -800.0f, 360.0f, -INFINITY, NAN};
  std::vector<uint8_t> levels(8);
  engine::WriteOutput(logits, grey, {}, levels);
  EXPECT_EQ(levels, (std::vector<uint8_t>{0, 255, 104, 109, 0, 255, 0, 0}));
  std::vector<float> reals(8);
  engine::WriteOutput(logits, grey, reals);
  EXPECT_NEAR(reals[2], 104.006f, 1e-3);
  EXPECT_EQ(reals[5], 255.0f);

  // Steps of 2 from 10 on: 64 -> 32 + 10.
  engine::WriteOutput(probabilities, {.kind = HeadKind::kTwoScores}, {.zero = 10, .step = 2}, scores);
  EXPECT_EQ(std::vector<uint8_t>(scores.begin() + 4, scores.begin() + 6), (std::vector<uint8_t>{106, 42}));
}

// One picture in several encodings gives one answer.
TEST(Interface, EncodingsAgree) {
  for (const HeadKind head : {HeadKind::kTwoScores, HeadKind::kLogitGrey}) {
    const auto container = OpenModel(head);
    Session session(BuildNetwork(container.get()));
    FillRandomly(session.input.bytes, 1);
    ASSERT_TRUE(session.Execute()) << LastError();
    const std::vector<uint8_t> expected = session.output.bytes;
    EXPECT_NE(*std::min_element(expected.begin(), expected.end()), *std::max_element(expected.begin(), expected.end()));

    UserBufferEncodingFloat real;
    Bound real_input(*session.network, "picture", real);
    Bound real_output(*session.network, "person", real);
    real_input.SetFloats({session.input.bytes.begin(), session.input.bytes.end()});
    ASSERT_TRUE(session.network->execute(real_input.map, real_output.map)) << LastError();
    const std::vector<float> values = real_output.Floats();
    for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(expected[i], std::floor(values[i] + 0.5f));

    // Even bytes b, and the same values in steps of 2 from 3 on.
    UserBufferEncodingTfN halved(3, 2.0f);
    Bound halved_input(*session.network, "picture", halved);
    for (size_t i = 0; i < halved_input.bytes.size(); ++i) {
      session.input.bytes[i] &= 0xFE;
      halved_input.bytes[i] = static_cast<uint8_t>(3 + session.input.bytes[i] / 2);
    }
    ASSERT_TRUE(session.Execute());
    const std::vector<uint8_t> even = session.output.bytes;
    ASSERT_TRUE(session.network->execute(halved_input.map, session.output.map));
    for (size_t i = 0; i < even.size(); ++i) EXPECT_NEAR(even[i], session.output.bytes[i], 1);
  }
}

TEST(Interface, InstancesInSeveralThreadsAgree) {
  const auto container = OpenModel(HeadKind::kTwoScores);
  Session reference(BuildNetwork(container.get()));
  FillRandomly(reference.input.bytes, 2);
  ASSERT_TRUE(reference.Execute());
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      Session session(BuildNetwork(container.get()));
      session.input.bytes = reference.input.bytes;  // the same size: the memory stays where it is
      for (int run = 0; run < 50; ++run) {
        ASSERT_TRUE(session.Execute());
        ASSERT_EQ(session.output.bytes, reference.output.bytes);
      }
      ASSERT_EQ(zdl::SNPE::SNPEBuilder(nullptr).build(), nullptr);  // every thread has a last error of its own
      ASSERT_NE(LastError(), "");
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(Interface, EngineThreadsChangeNoResult) {
  const auto container = OpenModel(HeadKind::kLogitGrey);
  Session one(BuildNetwork(container.get()));
  FillRandomly(one.input.bytes, 3);
  ASSERT_TRUE(one.Execute());
  EXPECT_GT(pexoHostEngineLastInvokeSeconds(), 0.0);
  for (const int threads : {-1, 2, 1000}) {
    pexoHostEngineSetThreads(threads);
    Session several(BuildNetwork(container.get()));
    pexoHostEngineSetThreads(1);
    several.input.bytes = one.input.bytes;
    ASSERT_TRUE(several.Execute());
    EXPECT_EQ(several.output.bytes, one.output.bytes);
  }
}

TEST(InterfaceDeathTest, EmptyOptionalEndsTheProcess) {
  const auto container = OpenModel(HeadKind::kTwoScores);
  const auto network = BuildNetwork(container.get());
  EXPECT_DEATH(static_cast<void>(*network->getInputOutputBufferAttributes("nobody")), "");
}

}  // namespace
}  // namespace pexo::test
