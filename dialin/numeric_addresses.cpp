// SPDX-License-Identifier: GPL-3.0-or-later
// Keeps the SIP library from waiting for a name server.

#include <netdb.h>
#include <sofia-sip/su_addrinfo.h>

/** The library's own function of this name, which this one takes the place of, asks a name server
 *  and waits. Strangers choose the name, as the maddr of a Via or with an unknown version of SIP,
 *  so one datagram could hold up all calls. Without it such an answer is not sent. Names in a
 *  caller's Contact are looked up elsewhere, without waiting. */
extern "C" int su_getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                              addrinfo** result) {
    addrinfo numeric = hints != nullptr ? *hints : addrinfo{};
    numeric.ai_flags |= AI_NUMERICHOST;
    return ::getaddrinfo(host, service, &numeric, result);
}
