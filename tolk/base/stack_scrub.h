// Traces of secrets outside the memory made for them.
#pragma once

namespace tolk {

/// Zeroes the unused stack below the caller, 128 KiB deep, and the vector registers.
/// Copying a password leaves pieces of it in vector registers, which the dynamic linker writes to
/// the stack whenever a library calls a function for the first time. Call this after C code has
/// worked with a secret, and once it is wiped itself.
void scrubStack() noexcept;

}  // namespace tolk
