// SPDX-License-Identifier: GPL-3.0-or-later
// Reading the daemon's count of heap allocations from outside.
#pragma once

#include "harness/temporary_directory.hpp"

#include <cstdint>

namespace vocalink::bench {

/** From construction to attached(), programs that are started count their allocations in a page
 *  shared with this object (see allocation_counter.cpp). One program per probe. */
class allocation_probe {
  public:
    allocation_probe();
    allocation_probe(const allocation_probe&) = delete;
    allocation_probe& operator=(const allocation_probe&) = delete;
    ~allocation_probe();

    /** The program runs: clears the environment for others.
     *  @throws std::runtime_error when it has not counted anything, for then it never will */
    void attached();

    /** Allocations of the program since its start. */
    [[nodiscard]] std::uint64_t count() const;

  private:
    harness::temporary_directory directory; // holds the page's file
    std::uint64_t* page = nullptr;          // mapped; this object owns it
};

} // namespace vocalink::bench
