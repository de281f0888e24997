// The Kerberos library's headers, in the one order that works from C++: com_err.h has no guard of
// its own on Debian, and krb5.h includes it, so it must come first and as C.
#pragma once

extern "C" {
#include <com_err.h>
}
#include <krb5/krb5.h>
#include <profile.h>
