// SPDX-License-Identifier: Apache-2.0
// A network, ready to run.
//
// These headers declare the engine's C++ interface as far as it concerns running one network from user buffers: what
// the library calls, and those classes' other common calls, so that programs around it compile as well. They are
// written for this project, and are source compatible with the engine SDK's own headers, which take their place when
// SNPE_ROOT is set.
#ifndef PEXO_SNPE_SNPE_HPP_
#define PEXO_SNPE_SNPE_HPP_

#include "DlSystem/DlOptional.hpp"
#include "DlSystem/IBufferAttributes.hpp"
#include "DlSystem/StringList.hpp"
#include "DlSystem/UserBufferMap.hpp"
#include "DlSystem/Visibility.hpp"

namespace zdl::SNPE {

// Made by SNPEBuilder. One thread at a time for each instance; several instances run in several threads.
class PEXO_ENGINE_API SNPE {
 public:
  virtual ~SNPE() = default;

  virtual DlSystem::Optional<DlSystem::StringList> getInputTensorNames() const = 0;
  virtual DlSystem::Optional<DlSystem::StringList> getOutputTensorNames() const = 0;

  // The attributes of an input or output, owned by the network; nothing for a name that is neither.
  virtual DlSystem::Optional<DlSystem::IBufferAttributes*> getInputOutputBufferAttributes(const char* name) const = 0;

  // Reads a buffer for every input and writes one for every output. False on failure, with the outputs in an
  // unspecified state; zdl::DlSystem::getLastErrorString() says why.
  virtual bool execute(const DlSystem::UserBufferMap& input, const DlSystem::UserBufferMap& output) = 0;
};

}  // namespace zdl::SNPE

#endif  // PEXO_SNPE_SNPE_HPP_
