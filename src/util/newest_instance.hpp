// SPDX-License-Identifier: GPL-3.0-or-later
// Access to an object of which the process has one.
#pragma once

#include <cassert>

namespace vocalink::util {

/** Base of a class that has one instance at a time. Tests make them one after the other. */
template <class Self>
class newest_instance {
  public:
    /** The instance made last. */
    [[nodiscard]] static Self& instance() {
        assert(newest != nullptr);
        return *newest;
    }

  protected:
    newest_instance() { newest = static_cast<Self*>(this); }

  private:
    static inline Self* newest = nullptr;
};

} // namespace vocalink::util
