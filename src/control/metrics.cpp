// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon's figures, gathered every five seconds.
#include "control/metrics.hpp"

#include "control/connection.hpp"
#include "streams/rtp_stream.hpp"
#include "util/log_writer.hpp"

#include <utility>

namespace vocalink {

namespace {

constexpr double period_s = 5.0;

// A turn of about a tenth of a millisecond; 10,000 calls take a tenth of a second.
constexpr int objects_per_turn = 200;
constexpr double between_turns_s = 0.001;

/** What is told of from the start, also when there is none. */
void seed_tallies(metrics_snapshot& figures) {
    for (const audio_codec& codec : audio_codecs()) {
        figures.streams[{"rtp_stream", codec.word}] = 0;
    }
    for (const std::string_view mode : {"empty", "drain", "relay", "mix"}) {
        figures.bridges[{"vocalink", mode}] = 0;
    }
    for (const std::string_view mode : {"empty", "mix"}) {
        figures.bridges[{"conference", mode}] = 0;
    }
}

void clear(object_tally& tally) {
    for (auto& [words, number] : tally) {
        number = 0;
    }
}

} // namespace

metrics::metrics(std::string path, std::string socket, const connection_map& all_connections)
    : connections(all_connections), writer(std::move(path), std::move(socket)) {
    seed_tallies(gathered);
    gathered.start_time_s = util::wall_clock_now();
    writer.start();
    round_timer.set<metrics, &metrics::begin_round>(this);
    round_timer.start(0.0, period_s);
    turn_timer.set<metrics, &metrics::go_on>(this);
}

void metrics::stop() {
    round_timer.stop();
    turn_timer.stop();
    lag.stop();
    writer.stop();
    writer.join();
    writer.remove_file();
}

void metrics::begin_round(ev::timer&, int) {
    if (turn_timer.is_active()) {
        return;
    }
    next = {};
    clear(gathered.streams);
    clear(gathered.bridges);
    turn_timer.start(0.0);
}

void metrics::go_on(ev::timer&, int) {
    if (visit_some()) {
        publish();
    } else {
        turn_timer.start(between_turns_s);
    }
}

/** @return whether this was the last of the round */
bool metrics::visit_some() {
    int left = objects_per_turn;
    for (auto at = connections.lower_bound(next.connection); at != connections.end(); ++at) {
        if (at->first != next.connection) {
            next = {.connection = at->first, .id = {}};
        }
        if (left-- <= 0) {
            return false;
        }
        const owned_objects& objects = at->second->objects;
        if (!next.in_bridges) {
            if (!visit_from_place(objects.streams(), left)) {
                return false;
            }
            next.in_bridges = true;
            next.id.clear();
        }
        if (!visit_from_place(objects.bridges(), left)) {
            return false;
        }
    }
    return true;
}

/** @return false when some are left for the next turn */
template <class Objects>
bool metrics::visit_from_place(const Objects& objects, int& left) {
    for (auto at = objects.lower_bound(next.id); at != objects.end(); ++at) {
        if (left-- <= 0) {
            next.id = at->first;
            return false;
        }
        visit(*at->second);
    }
    return true;
}

void metrics::visit(stream& visited) {
    visited.settle_figures();
    gathered.streams[{visited.kind_word(), visited.codec.word}] += 1;
}

void metrics::visit(bridge& visited) {
    const auto [kind, mode] = visited.mode();
    gathered.bridges[{kind, mode}] += 1;
}

void metrics::publish() {
    if (writer.get_count() > 0) {
        return; // its disk does not answer; figures must not pile up
    }
    gathered.connections = connections.size();
    gathered.rtp = rtp_stream::total_figures();
    gathered.writer = LoggingThread::instance().figures();
    gathered.mover = RecMoverThread::instance().figures();
    gathered.dropped_notices = connection::total_dropped_notices();
    gathered.dropped_log_lines = util::dropped_log_lines();
    gathered.commands = command_outcomes();
    gathered.lag = lag.take();
    writer.write(gathered);
}

} // namespace vocalink
