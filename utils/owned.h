// Unique ownership of memory that the C contracts hand over: malloc'd strings and blocks, and
// records with a destroy function of their own. As large as a plain pointer.
#ifndef VEK_UTILS_OWNED_H
#define VEK_UTILS_OWNED_H

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace vek {

template <auto Function>
struct Destroy {
  template <typename T>
  void operator()(T* object) const noexcept {
    (void)Function(object);
  }
};

// A record released by its own destroy function: Owned<vek_schema_t, vek_destroy_schema>.
template <typename T, auto Function>
using Owned = std::unique_ptr<T, Destroy<Function>>;

// Anything that came from malloc, calloc, strdup or asprintf.
template <typename T>
using Malloced = std::unique_ptr<T, Destroy<std::free>>;

using CString = Malloced<char>;
using File = std::unique_ptr<std::FILE, Destroy<std::fclose>>;

}  // namespace vek

#endif  // VEK_UTILS_OWNED_H
