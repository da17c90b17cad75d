// SPDX-License-Identifier: GPL-3.0-or-later
// What the preloaded counters and their reader agree upon: a shared page of counts.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vocalink::bench {

/** Environment variable with the path of the file that holds the shared page. */
inline constexpr const char* counter_file_variable = "VOCALINK_COUNTER_FILE";

/** The page is an array of counts, 64 bits each in host order. */
inline constexpr std::size_t counter_page_bytes = 4096;

/** The first count tells that a counter was loaded. The allocation counter has only this one, the
 *  system call counter one for each kind of call. */
enum counter_place : std::size_t {
    counted_allocations = 0,
    counted_waits = 0, // for events
    counted_reads,     // of files and pipes
    counted_sends,
    counted_receptions,
    counted_others,
    counter_places
};

/** The counts of this process until the page is there, then the page. Relaxed: they are sums. */
class shared_counters {
  public:
    /** Adds one to a count. Any thread, also before open(). */
    void count(counter_place place);
    /** Carries over to the page that the environment names, if it names one. Once, before there are
     *  threads. */
    void open();

  private:
    std::uint64_t before_the_page[counter_places] = {};
    std::uint64_t* page = nullptr; // mapped for the rest of the process's life
};

} // namespace vocalink::bench
