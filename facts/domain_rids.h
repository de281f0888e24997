// The identifier ranges of the forest's domains, as the agent daemon gathers them.
#pragma once

struct OrvKeyValue;

namespace joinscope {

/// Asks once a second, `seconds` times at most. Returns the last code (OrvCode); kStillGathering
/// without a question when `seconds` is not positive. `*set` is null or to be freed with
/// orvFreeKeyValueSet().
int getDomainRids(long seconds, OrvKeyValue** set);

}  // namespace joinscope
