// SPDX-License-Identifier: Apache-2.0
// What callers link against stays visible when the engine is built with hidden visibility; so do the type records of
// classes that cross the library's border.
#ifndef PEXO_DLSYSTEM_VISIBILITY_HPP_
#define PEXO_DLSYSTEM_VISIBILITY_HPP_

#define PEXO_ENGINE_API __attribute__((visibility("default")))

#endif  // PEXO_DLSYSTEM_VISIBILITY_HPP_
