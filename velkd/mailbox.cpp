// Answers on their way to the poll loop.
#include "velkd/mailbox.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <utility>

#include "tolk/base/exceptions.h"

namespace velkd {

Mailbox::Mailbox() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!event_) throw tolk::IOException("Cannot make an event descriptor", errno);
}

void Mailbox::post(Letter letter) {
  const std::lock_guard lock(mutex_);
  letters_.push_back(std::move(letter));
  (void)::eventfd_write(event_.get(), 1);
}

std::vector<Letter> Mailbox::takeAll() {
  const std::lock_guard lock(mutex_);
  eventfd_t count = 0;
  (void)::eventfd_read(event_.get(), &count);
  return std::exchange(letters_, {});
}

}  // namespace velkd
