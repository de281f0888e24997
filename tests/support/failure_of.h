// What a call throws, as a text to compare.
#pragma once

#include <string>

#include "tolk/base/exceptions.h"

namespace tolk::test {

/// "CODE TEXT" of the exception of this family; "" when none is thrown. Others pass through.
template <typename Exception = Base_Exception, typename Work>
std::string failureOf(const Work& work) {
  try {
    static_cast<void>(work());
    return "";
  } catch (const Exception& failure) {
    return std::to_string(failure.code()) + " " + failure.what();
  }
}

}  // namespace tolk::test
