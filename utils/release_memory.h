// Memory of a vector that was much larger than those to come are.
#ifndef VEK_UTILS_RELEASE_MEMORY_H
#define VEK_UTILS_RELEASE_MEMORY_H

#include <vector>

namespace vek {

// `elements = {}` would empty it and keep the memory: that assigns an empty list of elements.
template <typename T>
void release_memory(std::vector<T>& elements) noexcept {
  std::vector<T>().swap(elements);
}

}  // namespace vek

#endif  // VEK_UTILS_RELEASE_MEMORY_H
