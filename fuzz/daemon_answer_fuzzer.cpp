// An answer of the daemon: framing, JSON, and the directory object in it. What is accepted must
// survive being sent again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tolk/base/exceptions.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/varlink_wire.h"
#include "tolk/rpc/wire_object.h"

namespace {

void takeAnswer(std::string_view message) {
  const tolk::json::Document reply = tolk::decodeReply(message);
  const tolk::json::Value* found = tolk::json::findMember(reply, "object");
  if (found == nullptr) return;
  const tolk::ADObject object = tolk::objectFromJson(*found);
  tolk::json::Document memory;
  const tolk::ADObject again =
      tolk::objectFromJson(tolk::objectToJson(object, memory.GetAllocator()));
  for (const auto& name : object.attributeNames()) {
    if (object.getStrings(name) != again.getStrings(name)) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kLimitBytes = 4096;
  tolk::MessageBuffer buffer(kLimitBytes);
  buffer.append({reinterpret_cast<const char*>(data), size});
  try {
    while (const auto message = buffer.next()) {
      try {
        takeAnswer(*message);
      } catch (const tolk::BadDataException&) {
      } catch (const tolk::IPCException&) {
      }
    }
  } catch (const tolk::IPCException&) {
  }
  return 0;
}
