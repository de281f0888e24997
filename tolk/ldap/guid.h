// Globally unique identifiers, as objectGUID holds them.
#pragma once

#include <string>
#include <string_view>

namespace tolk {

/// "{6f9619ff-8b86-d011-b42d-00c04fc964ff}" for the 16 bytes of an objectGUID (MS-DTYP 2.3.4); ""
/// for any other number of bytes.
std::string guidText(std::string_view bytes);

}  // namespace tolk
