// SPDX-License-Identifier: GPL-3.0-or-later
// The mixing cycle: one frame from every member, and to every member the sum of what it may hear.
#include "bridge/relay_mix.hpp"
#include "rtp/rtp_packet.hpp"

#include <array>

namespace vocalink {

namespace {

// Deliberate: docs/behaviours.md#mix-every-30-ms
constexpr double first_cycle_s = 0.02;
constexpr double cycle_s = 0.03;

/** Whether the member is of a kind that listens. */
bool receives_mix(const stream& member) {
    return member.get_type() != kind_sound && member.get_type() != kind_event;
}

/** Fetches what the next member needs while the system call of this one runs. */
void prefetch_after(const std::vector<stream*>& members, std::size_t served) {
    if (served + 1 < members.size()) {
        members[served + 1]->prefetch();
    }
}

/** Subtracted from a sum that does not contain the listener's own frame. */
constexpr std::array<short, max_frame_samples> silent_frame{};

} // namespace

void relay_mix::start_mixing() {
    if (mixing) {
        return;
    }
    mix_timer.set<relay_mix, &relay_mix::mix_callback>(this);
    mix_timer.start(first_cycle_s, cycle_s);
    mixing = true;
}

void relay_mix::stop_mixing() {
    if (mixing) {
        mix_timer.stop();
        mixing = false;
    }
}

/** A list is gone through faster than the map, which lies scattered in memory. */
void relay_mix::list_members() {
    listed.clear();
    for (const auto& [member_id, member] : streams) {
        listed.push_back(member);
    }
}

void relay_mix::mix_callback(ev::timer&, int) {
    hear_members();
    for (std::size_t i = 0; i < listed.size(); ++i) {
        prefetch_after(listed, i);
        if (receives_mix(*listed[i])) {
            mix_for(*listed[i]);
        }
    }
}

/** Reads every member, and sums once what everybody may hear, so that a listener costs one
 *  subtraction of its own frame instead of a sum over all others. */
void relay_mix::hear_members() {
    open_sum.fill(0);
    special_speakers.clear();
    for (std::size_t i = 0; i < listed.size(); ++i) {
        prefetch_after(listed, i);
        stream* const member = listed[i];
        if (member->read_incoming_rtp(nullptr, 0, join_pending) == 0) {
            member->clear_incoming_buffer();
        }
        if (member->is_restricted() || member->get_type() == kind_event) {
            special_speakers.push_back(member);
        } else {
            add_frame(open_sum, member->incoming_packet(), max_frame_samples);
        }
    }
    join_pending = false;
}

void relay_mix::mix_for(stream& listener) {
    listener.clear_outgoing_buffer();
    if (listener.is_selective()) {
        mix_sources(listener);
    } else {
        mix_all_heard(listener);
    }
    listener.write_outgoing(nullptr, 0);
}

void relay_mix::mix_all_heard(stream& listener) {
    const short* const own =
        listener.is_restricted() ? silent_frame.data() : listener.incoming_packet();
    if (special_speakers.empty()) {
        listener.mix_without(open_sum, own);
        return;
    }
    frame_sum heard = open_sum;
    for (stream* const speaker : special_speakers) {
        if (speaker == &listener || !speaker->may_be_heard_by(listener.id)) {
            continue;
        }
        if (speaker->get_type() == kind_event) {
            pass_event(*speaker, listener);
        } else {
            add_frame(heard, speaker->incoming_packet(), listener.frame_samples());
        }
    }
    listener.mix_without(heard, own);
}

void relay_mix::mix_sources(stream& listener) {
    frames.clear();
    for (const std::string& source : listener.get_sources()) {
        const auto found = streams.find(source);
        if (found == streams.end()) {
            continue;
        }
        stream* const speaker = found->second;
        if (speaker == &listener || !speaker->may_be_heard_by(listener.id)) {
            continue;
        }
        if (speaker->get_type() == kind_event) {
            pass_event(*speaker, listener);
        } else {
            frames.push_back(speaker->incoming_packet());
        }
    }
    listener.mix(frames.data(), static_cast<int>(frames.size()));
}

/** Sends an event packet unmixed, ahead of the listener's mixed frame. */
void relay_mix::pass_event(stream& speaker, stream& listener) {
    constexpr int longest_header_search = 1500;
    const char* const packet = reinterpret_cast<const char*>(speaker.incoming_packet());
    listener.write_outgoing(packet, rtp_packet::get_hdr_size(packet, longest_header_search) +
                                        event_payload_bytes);
}

} // namespace vocalink
