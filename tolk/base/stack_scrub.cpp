// Traces of secrets outside the memory made for them.
#include "tolk/base/stack_scrub.h"

#include <cstddef>
#include <cstring>

namespace tolk {
namespace {

constexpr std::size_t kDepthBytes = std::size_t{128} << 10U;

/// The vector registers in which string functions move bytes. First of all, or the call that wipes
/// the stack would itself have them written below.
void clearRegisters() noexcept {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx") != 0)
    asm volatile("vzeroall" ::
                     : "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8",
                       "xmm9", "xmm10", "xmm11", "xmm12", "xmm13", "xmm14", "xmm15");
  else
    asm volatile("pxor %%xmm0, %%xmm0\n\tpxor %%xmm1, %%xmm1\n\tpxor %%xmm2, %%xmm2" ::
                     : "xmm0", "xmm1", "xmm2");
#elif defined(__aarch64__)
  asm volatile("movi v0.2d, #0\n\tmovi v1.2d, #0\n\tmovi v2.2d, #0\n\tmovi v3.2d, #0" ::
                   : "v0", "v1", "v2", "v3");
#endif
}

}  // namespace

[[gnu::noinline]] void scrubStack() noexcept {
  clearRegisters();
  char area[kDepthBytes];
  explicit_bzero(area, sizeof area);
}

}  // namespace tolk
