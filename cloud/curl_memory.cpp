// libcurl's own memory.
#include "cloud/curl_memory.h"

#include <curl/curl.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "cloud/cloud_exceptions.h"

namespace tolk {
namespace {

void wipeAndFree(void* block) noexcept {
  if (block != nullptr) ::explicit_bzero(block, ::malloc_usable_size(block));
  std::free(block);
}

// realloc(3) may leave the old bytes behind.
void* wipingRealloc(void* block, std::size_t size) noexcept {
  if (block == nullptr) return std::malloc(size);
  const std::size_t usable = ::malloc_usable_size(block);
  if (size != 0 && size <= usable) return block;
  void* larger = std::malloc(size);
  if (larger == nullptr) return nullptr;
  std::memcpy(larger, block, std::min(usable, size));
  wipeAndFree(block);
  return larger;
}

}  // namespace

void startCurl() {
  static const CURLcode result = curl_global_init_mem(CURL_GLOBAL_DEFAULT, std::malloc, wipeAndFree,
                                                      wipingRealloc, ::strdup, std::calloc);
  if (result != CURLE_OK) throw CurlException("Failed to create curl context", result);
}

}  // namespace tolk
