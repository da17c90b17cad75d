// SPDX-License-Identifier: GPL-3.0-or-later
// An owner of the SIP library's memory.
#pragma once

#include <memory>

#include <sofia-sip/su_alloc.h>

namespace vocalink::dialin {

struct home_deleter {
    void operator()(su_home_t* home) const { su_home_unref(home); }
};

/** Memory that the library's objects are made in; they go with it. */
using home_ptr = std::unique_ptr<su_home_t, home_deleter>;

} // namespace vocalink::dialin
