// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon's figures, gathered every five seconds.
#pragma once

#include "control/metrics_snapshot.hpp"
#include "control/metrics_thread.hpp"
#include "util/event_loop.hpp"
#include "util/loop_lag.hpp"

#include <map>
#include <string>

namespace vocalink {

class bridge;
class connection;
class stream;

/** Gathers what streams, bridges and workers count, and hands it to the thread that writes the file.
 *  Packets cost nothing for it: a round goes through all objects, a few in each turn of the loop, and
 *  takes the counters that they keep anyway. Owned by main, with option -m only. Loop thread. */
class metrics {
  public:
    using connection_map = std::map<std::string, connection*>;

    /** Starts the worker and the first round.
     *  @param socket  path of the listen socket, for the samples
     *  @param connections  main's; outlives this */
    metrics(std::string path, std::string socket, const connection_map& connections);

    /** Ends the worker and removes the file. */
    void stop();

  private:
    /** Where a round stands. What has this id is the next one to visit. */
    struct place {
        std::string connection;
        std::string id;
        bool in_bridges = false;
    };

    void begin_round(ev::timer& timer, int events);
    void go_on(ev::timer& timer, int events);
    bool visit_some();
    template <class Objects>
    bool visit_from_place(const Objects& objects, int& left);
    void visit(stream& visited);
    void visit(bridge& visited);
    void publish();

    const connection_map& connections;
    MetricsThread writer;
    util::loop_lag lag;
    place next;
    metrics_snapshot gathered;
    ev::timer round_timer;
    ev::timer turn_timer; // runs during a round
};

} // namespace vocalink
