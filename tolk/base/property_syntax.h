// The syntax of orvald.conf(5): text in, keys and values out.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace tolk {

/// Calls `take` for each "key: value" line of `text`, in the order of the lines. White space round
/// key and value is left out. A line whose first visible character is "#", one without a colon and
/// one with an empty key are skipped. A line whose very last character is a backslash (a carriage
/// return before the line end aside) goes on with the next one, without the backslash and without
/// the white space the next line starts with; comment lines do not go on.
void forEachProperty(std::string_view text,
                     const std::function<void(std::string_view key, std::string value)>& take);

}  // namespace tolk
