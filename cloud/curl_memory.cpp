// libcurl's own memory.
#include "cloud/curl_memory.h"

#include <curl/curl.h>

#include <cstdlib>
#include <cstring>

#include "cloud/cloud_exceptions.h"
#include "tolk/base/wiping_memory.h"

namespace tolk {

void startCurl() {
  static const CURLcode result = curl_global_init_mem(CURL_GLOBAL_DEFAULT, std::malloc, wipeAndFree,
                                                      wipingRealloc, ::strdup, std::calloc);
  if (result != CURLE_OK) throw CurlException("Failed to create curl context", result);
}

}  // namespace tolk
