// Heap memory that is zeroed before it is given back, for what may hold secrets.
#pragma once

#include <cstddef>

namespace tolk {

/// free(3) and realloc(3) that leave no old bytes behind. For memory of malloc(3).
void wipeAndFree(void* block) noexcept;
[[nodiscard]] void* wipingRealloc(void* block, std::size_t size) noexcept;

}  // namespace tolk
