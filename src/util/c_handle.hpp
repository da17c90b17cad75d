// SPDX-License-Identifier: GPL-3.0-or-later
// Ownership of handles that a C library gives out.
#pragma once

#include <memory>

namespace vocalink::util {

/** Deleter that calls a library's own release function, so that a unique_ptr stays pointer-sized.
 */
template <auto Release>
struct c_deleter {
    template <class T>
    void operator()(T* handle) const {
        Release(handle);
    }
};

template <class T, auto Release>
using c_handle = std::unique_ptr<T, c_deleter<Release>>;

} // namespace vocalink::util
