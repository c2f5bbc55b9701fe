// SPDX-License-Identifier: Apache-2.0
// Values of options that several commands take. Everything throws tools::UsageError with a text that goes on after the
// option's name.
#ifndef PEXO_TOOLS_PORTRAIT_OPTION_VALUES_H_
#define PEXO_TOOLS_PORTRAIT_OPTION_VALUES_H_

#include <string>

#include "media/film_frames.h"

namespace pexo::portrait {

double ParseNumber(const std::string& word, double least, double most);

// Up to the image library's scaler's limit.
media::Size ParseSize(const std::string& word);

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_OPTION_VALUES_H_
