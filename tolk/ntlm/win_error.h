// Windows' words for the errors of a logon.
#pragma once

#include <string>

namespace tolk {

/// The text of an NT status (MS-ERREF 2.3) or of the Windows error (2.2) for the same; only those
/// that a logon can give have one, others become "NT status 0xc0000001" or "Windows error 2".
std::string WinErrToString(int error);

}  // namespace tolk
