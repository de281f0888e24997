#include "tolk/ldap/pipelined_reads.h"

#include <cassert>
#include <utility>

#include "tolk/ldap/ldap_connection.h"

namespace tolk {

PipelinedReads::PipelinedReads(LDAPBinding& binding) : connection_(binding.connection()) {}

PipelinedReads::~PipelinedReads() {
  for (const Outstanding& read : outstanding_) {
    if (!read.error) connection_->abandon(read.id);
  }
}

std::size_t PipelinedReads::add(const std::string& filter, const std::string& base,
                                const char* const* attributes, int scope) {
  waiting_.push_back(
      {.base = base, .scope = scope, .filter = filter, .attributes = attributeList(attributes)});
  fillWindow();
  return added_++;
}

void PipelinedReads::fillWindow() {
  while (outstanding_.size() < kWindow && !waiting_.empty()) {
    Outstanding read{.id = -1, .error = nullptr};
    try {
      read.id = connection_->send(waiting_.front());
    } catch (...) {
      read.error = std::current_exception();
    }
    outstanding_.push_back(std::move(read));
    waiting_.pop_front();
  }
}

ADObjectList PipelinedReads::next() {
  assert(pending() > 0);
  const Outstanding read = std::move(outstanding_.front());
  outstanding_.pop_front();
  if (read.error) {
    fillWindow();
    std::rethrow_exception(read.error);
  }
  // Answers to the later reads that come meanwhile stay with the library until their turn.
  try {
    SearchResult result = connection_->receive(read.id, SearchRequest());
    fillWindow();
    return std::move(result.objects);
  } catch (...) {
    fillWindow();
    throw;
  }
}

}  // namespace tolk
