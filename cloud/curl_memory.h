// libcurl's own memory.
#pragma once

namespace tolk {

/// Starts libcurl once for the process, with memory that is zeroed before it is given back: the
/// library keeps copies of proxy passwords and cookies. Throws CurlException.
void startCurl();

}  // namespace tolk
