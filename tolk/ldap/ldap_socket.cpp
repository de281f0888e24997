// The allowance of bytes is counted where they are read, before anything is made of them.
#include "tolk/ldap/ldap_socket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

namespace tolk {
namespace {

int descriptorOf(Sockbuf_IO_Desc* stream) noexcept {
  ber_socket_t descriptor = -1;
  ber_sockbuf_ctrl(stream->sbiod_sb, LBER_SB_OPT_GET_FD, &descriptor);
  return descriptor;
}

int setUp(Sockbuf_IO_Desc* stream, void* argument) noexcept {
  stream->sbiod_pvt = argument;
  return 0;
}
int remove(Sockbuf_IO_Desc* /*stream*/) noexcept {
  return 0;
}
int control(Sockbuf_IO_Desc* /*stream*/, int /*option*/, void* /*argument*/) noexcept {
  return 0;
}

ber_slen_t read(Sockbuf_IO_Desc* stream, void* buffer, ber_len_t size) noexcept {
  auto& allowance = *static_cast<std::size_t*>(stream->sbiod_pvt);
  if (allowance == 0) {
    errno = EMSGSIZE;
    return -1;
  }
  const ssize_t count = ::recv(descriptorOf(stream), buffer, std::min(size, allowance), 0);
  if (count > 0) allowance -= static_cast<std::size_t>(count);
  return count;
}

ber_slen_t write(Sockbuf_IO_Desc* stream, void* buffer, ber_len_t size) noexcept {
  return ::send(descriptorOf(stream), buffer, size, MSG_NOSIGNAL);
}

int close(Sockbuf_IO_Desc* stream) noexcept {
  return ::close(descriptorOf(stream));
}

}  // namespace

Sockbuf_IO* socketCalls() noexcept {
  static Sockbuf_IO calls{.sbi_setup = setUp,
                          .sbi_remove = remove,
                          .sbi_ctrl = control,
                          .sbi_read = read,
                          .sbi_write = write,
                          .sbi_close = close};
  return &calls;
}

}  // namespace tolk
