// SPDX-License-Identifier: Apache-2.0
// What the options mean for a film.
#ifndef PEXO_TOOLS_PORTRAIT_FILM_COMMAND_H_
#define PEXO_TOOLS_PORTRAIT_FILM_COMMAND_H_

#include "options.h"

namespace pexo::portrait {

// Throws what RunFilmJob throws.
void RenderFilm(const Options& options);

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_FILM_COMMAND_H_
