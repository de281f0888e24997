// Encoding and decoding of connectionless LDAP messages (RFC 4511, 4.5), over liblber.
#include "tolk/net/cldap.h"

#include <lber.h>

#include <memory>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"

namespace tolk {
namespace {

// Tags of RFC 4511.
constexpr ber_tag_t kSearchRequest = 0x63;
constexpr ber_tag_t kSearchEntry = 0x64;
constexpr ber_tag_t kSearchDone = 0x65;
constexpr ber_tag_t kFilterAnd = 0xa0;
constexpr ber_tag_t kFilterEquality = 0xa3;
constexpr ber_tag_t kFilterPresent = 0x87;

void freeBer(BerElement* ber) noexcept {
  ber_free(ber, 1);
}
using BerHandle = std::unique_ptr<BerElement, Releaser<freeBer>>;

struct TextListFree {
  void operator()(berval** list) const noexcept { ber_bvecfree(list); }
};
using BerTextList = std::unique_ptr<berval*[], TextListFree>;

std::string_view view(const berval& bytes) {
  return {bytes.bv_val, bytes.bv_len};
}

// A decoder over a copy of the bytes.
BerHandle decoder(std::string_view bytes) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the library only reads it
  berval input{bytes.size(), const_cast<char*>(bytes.data())};
  return BerHandle(ber_init(&input));
}

void require(bool encoded) {
  if (!encoded) throw BadDataException("A connectionless LDAP request cannot be encoded");
}

void putText(BerElement* ber, ber_tag_t tag, const std::string& text) {
  require(ber_put_ostring(ber, text.data(), text.size(), tag) >= 0);
}

void putFilter(BerElement* ber, const CldapRequest& request) {
  if (!request.present.empty()) return putText(ber, kFilterPresent, request.present);
  require(ber_start_seq(ber, kFilterAnd) >= 0);
  for (const auto& [attribute, value] : request.equalities) {
    require(ber_start_seq(ber, kFilterEquality) >= 0);
    putText(ber, LBER_OCTETSTRING, attribute);
    putText(ber, LBER_OCTETSTRING, value);
    require(ber_put_seq(ber) >= 0);
  }
  require(ber_put_seq(ber) >= 0);
}

bool readAttribute(BerElement* ber, CldapEntry& entry) {
  berval type{};
  berval** list = nullptr;
  // On failure the library frees what it has allocated and sets both to null.
  const bool good = ber_scanf(ber, "{o[V]}", &type, &list) != LBER_ERROR;
  const std::unique_ptr<char, Releaser<ber_memfree>> ownedType(type.bv_val);
  const BerTextList ownedList(list);
  if (!good) return false;
  std::vector<std::string> values;
  for (berval** value = list; value != nullptr && *value != nullptr; ++value) {
    values.emplace_back(view(**value));
  }
  entry.attributes.emplace_back(view(type), std::move(values));
  return true;
}

bool readEntry(BerElement* ber, CldapEntry& entry) {
  berval dn{};
  if (ber_scanf(ber, "{o", &dn) == LBER_ERROR) return false;
  const std::unique_ptr<char, Releaser<ber_memfree>> owned(dn.bv_val);
  entry.dn = view(dn);
  ber_len_t size = 0;
  char* last = nullptr;
  for (ber_tag_t tag = ber_first_element(ber, &size, &last); tag != LBER_DEFAULT;
       tag = ber_next_element(ber, &size, last)) {
    if (!readAttribute(ber, entry)) return false;
  }
  return true;
}

// One LDAPMessage without its outer sequence header.
bool readMessage(std::string_view content, CldapAnswer& answer, bool first) {
  const BerHandle ber = decoder(content);
  ber_int_t id = 0;
  ber_tag_t operation = 0;
  if (!ber || ber_scanf(ber.get(), "it", &id, &operation) == LBER_ERROR) return false;
  if (!first && id != answer.messageId) return false;
  answer.messageId = id;
  if (operation == kSearchEntry) return readEntry(ber.get(), answer.entries.emplace_back());
  ber_int_t code = 0;
  if (operation != kSearchDone || ber_scanf(ber.get(), "{e", &code) == LBER_ERROR) return false;
  answer.finished = true;
  answer.resultCode = code;
  return true;
}

}  // namespace

std::string encodeCldapRequest(const CldapRequest& request, int messageId) {
  const BerHandle ber(ber_alloc_t(LBER_USE_DER));
  require(ber != nullptr);
  constexpr int kScopeBase = 0;
  require(ber_printf(ber.get(), "{it{oeeiib", messageId, kSearchRequest, request.base.data(),
                     request.base.size(), kScopeBase, 0, 0, 0, 0) >= 0);
  putFilter(ber.get(), request);
  require(ber_start_seq(ber.get(), LBER_SEQUENCE) >= 0);
  for (const std::string& attribute : request.attributes) {
    putText(ber.get(), LBER_OCTETSTRING, attribute);
  }
  require(ber_printf(ber.get(), "}}}") >= 0);
  berval flat{};
  require(ber_flatten2(ber.get(), &flat, 0) >= 0);  // 0: the bytes stay the encoder's
  return std::string(view(flat));
}

std::optional<CldapAnswer> decodeCldapAnswer(std::string_view datagram) {
  const BerHandle ber = decoder(datagram);
  if (!ber || datagram.empty()) return std::nullopt;
  CldapAnswer answer;
  bool first = true;
  ber_len_t left = 0;
  while (ber_get_option(ber.get(), LBER_OPT_BER_REMAINING_BYTES, &left) == LBER_OPT_SUCCESS &&
         left > 0) {
    berval content{};
    if (answer.finished || ber_skip_element(ber.get(), &content) != LBER_SEQUENCE ||
        !readMessage(view(content), answer, first)) {
      return std::nullopt;
    }
    first = false;
  }
  return answer;
}

}  // namespace tolk
