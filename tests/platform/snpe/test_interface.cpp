// SPDX-License-Identifier: Apache-2.0
// The engine's interface: what it answers, what it refuses, and what it computes.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <tuple>

#include "engine/heads.h"
#include "every_operator.h"
#include "pexo_host/engine.h"
#include "session.h"

namespace pexo::test {
namespace {

using engine::HeadKind;
using zdl::DlSystem::TensorShape;
using zdl::DlSystem::UserBufferEncodingFloat;
using zdl::DlSystem::UserBufferEncodingTfN;
using zdl::SNPE::SNPEBuilder;
using zdl::SNPE::SNPEFactory;

std::unique_ptr<zdl::DlContainer::IDlContainer> OpenModel(HeadKind head) {
  return zdl::DlContainer::IDlContainer::open(Pack(EveryOperatorModel(), head));
}

TEST(Interface, NamesDimensionsAndWhatIsBuilt) {
  const auto container = OpenModel(HeadKind::kTwoScores);
  const auto network = Build(container.get());
  EXPECT_STREQ((*network->getInputTensorNames()).at(0), "picture");
  EXPECT_STREQ((*network->getOutputTensorNames()).at(0), "person");
  EXPECT_EQ((*network->getInputOutputBufferAttributes("picture"))->getDims(), (TensorShape{1, 6, 12, 3}));
  EXPECT_EQ((*network->getInputOutputBufferAttributes("person"))->getDims(), (TensorShape{1, 6, 2, 2}));
  EXPECT_FALSE(network->getInputOutputBufferAttributes("nobody"));
  EXPECT_FALSE(network->getInputOutputBufferAttributes(nullptr));
  for (int number = -1; number <= 5; ++number) {
    const auto runtime = static_cast<zdl::DlSystem::Runtime_t>(number);
    EXPECT_EQ(SNPEFactory::isRuntimeAvailable(runtime), number == 0) << number;
    EXPECT_EQ(SNPEBuilder(container.get()).setRuntimeProcessor(runtime).build() != nullptr, number == 0) << number;
  }
  zdl::DlSystem::StringList layers;
  for (const char* layer : {"person", "nobody"}) {
    layers.append(layer);
    EXPECT_EQ(SNPEBuilder(container.get()).setOutputLayers(layers).build() != nullptr, layers.size() == 1) << layer;
  }
  EXPECT_FALSE(Session(SNPEBuilder(container.get()).build()).Execute()) << "a network without user buffers takes none";
}

// Everything is as it should be but one buffer.
TEST(Interface, WhichBuffersFit) {
  alignas(float) uint8_t memory[900] = {};
  UserBufferEncodingTfN bytes(0, 1.0f), words(0, 1.0f, 16), far_zero(256, 1.0f), no_step(0, 0.0f);
  UserBufferEncodingFloat floats;
  enum Outcome { kWorks, kIsNotMade, kDoesNotFit };
  const std::tuple<const char*, uint8_t*, size_t, std::vector<size_t>, zdl::DlSystem::UserBufferEncoding*, Outcome>
      cases[] = {
          {"dense", memory + 1, 216, {216, 36, 3, 1}, &bytes, kWorks},
          {"dense floats", memory, 864, {864, 144, 12, 4}, &floats, kWorks},
          {"floats out of alignment", memory + 1, 864, {864, 144, 12, 4}, &floats, kIsNotMade},
          {"no address", nullptr, 216, {216, 36, 3, 1}, &bytes, kIsNotMade},
          {"no bytes", memory, 0, {216, 36, 3, 1}, &bytes, kIsNotMade},
          {"no encoding", memory, 216, {216, 36, 3, 1}, nullptr, kIsNotMade},
          {"16 bits", memory, 432, {432, 72, 6, 2}, &words, kIsNotMade},
          {"zero beyond 8 bits", memory, 216, {216, 36, 3, 1}, &far_zero, kIsNotMade},
          {"step size 0", memory, 216, {216, 36, 3, 1}, &no_step, kIsNotMade},
          {"a byte less", memory, 215, {216, 36, 3, 1}, &bytes, kDoesNotFit},
          {"elements for bytes", memory, 216, {864, 144, 12, 4}, &floats, kDoesNotFit},
          {"strides in elements", memory, 864, {216, 36, 3, 1}, &floats, kDoesNotFit},
          {"padded rows", memory, 216, {216, 37, 3, 1}, &bytes, kDoesNotFit},
          {"rank 3", memory, 216, {36, 3, 1}, &bytes, kDoesNotFit},
      };
  const auto container = OpenModel(HeadKind::kLogitGrey);
  Session session(Build(container.get()));
  for (const auto& [name, address, size, strides, encoding, outcome] : cases) {
    SCOPED_TRACE(name);
    const auto buffer = SNPEFactory::getUserBufferFactory().createUserBuffer(address, size, strides, encoding);
    EXPECT_EQ(buffer == nullptr, outcome == kIsNotMade) << LastError();
    if (buffer == nullptr) continue;
    zdl::DlSystem::UserBufferMap map;
    EXPECT_FALSE(session.network->execute(map, session.output.map)) << "no buffer";
    map.add("picture", buffer.get());
    EXPECT_EQ(session.network->execute(map, session.output.map), outcome == kWorks) << LastError();
    map.add("person", buffer.get());
    EXPECT_FALSE(session.network->execute(map, session.output.map)) << "two buffers";
    map.remove("picture");
    EXPECT_FALSE(session.network->execute(session.input.map, map)) << "the input's buffer for the output";
  }
  EXPECT_TRUE(session.Execute()) << "failures leave the network usable";
}

// A picture in three encodings gives, in three encodings, what plain loops over the operators' definitions make of it.
TEST(Interface, ComputesTheModelInEveryEncoding) {
  const double logits[] = {8.48091,  -0.47182, -0.40763, -0.12720, 5.46580,  3.63533,
                           -0.29324, 0.92179,  2.45068,  7.74249,  -0.17885, 1.97077};
  for (const HeadKind head : {HeadKind::kTwoScores, HeadKind::kLogitGrey}) {
    const auto container = OpenModel(head);
    Session session(Build(container.get()));
    Bound floats(*session.network, "picture", UserBufferEncodingFloat());
    Bound halves(*session.network, "picture", UserBufferEncodingTfN(3, 2.0f));
    Bound exact(*session.network, "person", UserBufferEncodingFloat());
    Bound coarse(*session.network, "person", UserBufferEncodingTfN(10, 2.0f));
    for (size_t i = 0; i < halves.bytes.size(); ++i) {
      floats.Float(i) = session.input.bytes[i];
      halves.bytes[i] = static_cast<uint8_t>(session.input.bytes[i] / 2 + 3);
    }
    ASSERT_TRUE(session.network->execute(session.input.map, exact.map)) << LastError();
    ASSERT_TRUE(session.network->execute(floats.map, session.output.map)) << LastError();
    ASSERT_TRUE(session.network->execute(halves.map, coarse.map)) << LastError();
    for (size_t i = 0; i < coarse.bytes.size(); ++i) {
      const bool grey = head == HeadKind::kLogitGrey;
      const double foreground = 255 / (1 + std::exp(-logits[grey ? i : i / 2]));
      const double value = grey ? (logits[i] + 20.01) * 255 / 49.06 : i % 2 == 0 ? 255 - foreground : foreground;
      EXPECT_NEAR(exact.Float(i), value, 1e-3) << i;
      EXPECT_NEAR(session.output.bytes[i], value, 0.501) << i;
      EXPECT_NEAR(coarse.bytes[i], value / 2 + 10, 0.501) << i;
    }
  }
}

// Halves go up; what lies beyond the ends is limited; a NaN becomes the lower limit.
TEST(Interface, HeadsRoundAndLimit) {
  std::vector<uint8_t> levels(5);
  const engine::Head identity{HeadKind::kLogitGrey, 0, 255};
  const std::vector<float> values{0.5f, 254.5f, -800, 360, NAN};
  engine::WriteOutput({values}, identity, {}, levels);
  EXPECT_EQ(levels, (std::vector<uint8_t>{1, 255, 0, 255, 0}));
  std::vector<float> input(2);
  engine::ReadInput(std::vector<uint8_t>{10, 20}, {.zero = 4, .step = 0.5}, {.scale = 2, .offset = -3}, input);
  EXPECT_EQ(input, (std::vector<float>{3, 13}));
}

TEST(Interface, InstancesInSeveralThreadsAgree) {
  const auto container = OpenModel(HeadKind::kLogitGrey);
  Session reference(Build(container.get()));
  ASSERT_TRUE(reference.Execute());
  const std::string error = LastError();
  std::vector<std::thread> threads;
  for (const int engine_threads : {-1, 2}) {
    threads.emplace_back([&, engine_threads] {
      pexoHostEngineSetThreads(engine_threads);
      Session session(Build(container.get()));
      for (int run = 0; run < 30; ++run) {
        ASSERT_TRUE(session.Execute());
        ASSERT_EQ(session.output.bytes, reference.output.bytes);
      }
      ASSERT_EQ(Build(nullptr), nullptr);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(LastError(), error) << "every thread has an error of its own";
}

}  // namespace
}  // namespace pexo::test
