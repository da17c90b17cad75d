// SPDX-License-Identifier: GPL-3.0-or-later
// Reading from outside what a library preloaded into the daemon counts.
#pragma once

#include "harness/temporary_directory.hpp"
#include "load/counter_page.hpp"

#include <array>
#include <cstdint>
#include <string>

namespace vocalink::bench {

using counter_values = std::array<std::uint64_t, counter_places>;

/** From construction to attached(), programs that are started count in a page shared with this
 *  object (see counter_page.hpp). One program per probe. */
class counter_probe {
  public:
    /** @param library  path of the counter to be preloaded */
    explicit counter_probe(const std::string& library);
    counter_probe(const counter_probe&) = delete;
    counter_probe& operator=(const counter_probe&) = delete;
    ~counter_probe();

    /** The program runs: clears the environment for others.
     *  @throws std::runtime_error when it has not counted anything, for then it never will */
    void attached();

    /** What the program has counted since its start. */
    [[nodiscard]] counter_values counts() const;

  private:
    harness::temporary_directory directory; // holds the page's file
    std::uint64_t* page = nullptr;          // mapped; this object owns it
};

} // namespace vocalink::bench
