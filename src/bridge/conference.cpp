// SPDX-License-Identifier: GPL-3.0-or-later
// The bridge in which every member is mixed, 20 ms at a time.
#include "bridge/conference.hpp"

#include "util/prefetch.hpp"

#include <algorithm>

namespace vocalink {

namespace {

using sum_samples = std::array<std::int32_t, tick_samples>;

constexpr tick_frame silent_tick{};

void add(sum_samples& sum, tick_view frame) {
    for (std::size_t i = 0; i < tick_samples; ++i) {
        sum[i] += frame[i];
    }
}

void saturate(tick_frame& out, const sum_samples& sum) {
    for (std::size_t i = 0; i < tick_samples; ++i) {
        out[i] = static_cast<std::int16_t>(std::clamp(sum[i], -32768, 32767));
    }
}

/** The sum less what the listener said itself. */
void saturate_without(tick_frame& out, const sum_samples& sum, tick_view own) {
    for (std::size_t i = 0; i < tick_samples; ++i) {
        out[i] = static_cast<std::int16_t>(std::clamp(sum[i] - own[i], -32768, 32767));
    }
}

bool may_hear(const stream& listener, const stream& speaker) {
    return speaker.may_be_heard_by(listener.id) && listener.wants_to_hear(speaker.id);
}

} // namespace

std::unique_ptr<audio_policy> make_conference(const std::string&, const bridge_members&) {
    return std::make_unique<conference>();
}

conference::~conference() {
    conference_clock::instance().remove(*this);
}

void conference::joined(stream& member) {
    seat taken{&member, member.make_conference_leg(), {}};
    if (seats.empty()) {
        conference_clock::instance().add(*this);
    }
    const auto place = std::find_if(seats.begin(), seats.end(), [&](const seat& other) {
        return member.id < other.member->id;
    });
    seats.insert(place, std::move(taken));
    restricted.reserve(seats.size());
    pressing.reserve(seats.size());
}

void conference::left(stream& member) {
    std::erase_if(seats, [&](const seat& taken) { return taken.member == &member; });
    if (seats.empty()) {
        conference_clock::instance().remove(*this);
    }
}

audio_mode conference::mode() const {
    return {"conference", seats.empty() ? "empty" : "mix"};
}

void conference::tick(double now_s, double due_s) {
    hear_out_members(now_s);
    pass_keys();
    for (const seat& listener : seats) {
        prefetch_after(listener);
        if (listener.leg->listens()) {
            answer(listener, due_s);
        }
    }
}

/** Fetches what the next member needs while the system calls of this one run. */
void conference::prefetch_after(const seat& served) const {
    const seat* const next = &served + 1;
    if (next != seats.data() + seats.size()) {
        util::prefetch(next->leg.get(), conference_leg::hot_bytes);
        next->member->prefetch();
    }
}

/** Does everything with a speaker at once, while what it says is still in the cache. */
void conference::hear_out_members(double now_s) {
    open_sum.fill(0);
    open_speakers = 0;
    restricted.clear();
    pressing.clear();
    for (seat& speaker : seats) {
        prefetch_after(speaker);
        speaker.said = speaker.leg->speak(now_s);
        if (!speaker.leg->keys().empty()) {
            pressing.push_back(&speaker);
        }
        if (!speaker.said) {
            continue;
        }
        if (speaker.member->is_restricted()) {
            restricted.push_back(&speaker);
        } else {
            add(open_sum, *speaker.said);
            open_speakers += 1;
        }
    }
}

void conference::pass_keys() {
    for (const seat* const speaker : pressing) {
        for (const key_press& key : speaker->leg->keys()) {
            for (const seat& listener : seats) {
                if (&listener != speaker && may_hear(*listener.member, *speaker->member)) {
                    listener.leg->take_key(key);
                }
            }
        }
    }
}

void conference::answer(const seat& listener, double due_s) {
    alignas(32) tick_frame out;
    const bool own_is_open = listener.said && !listener.member->is_restricted();
    if (listener.member->is_selective()) {
        sum_frame heard{};
        add_sources(heard, listener);
        saturate(out, heard);
    } else if (restricted.empty()) {
        if (open_speakers == 0) {
            listener.leg->hear(silent_tick, due_s);
            return;
        }
        saturate_without(out, open_sum, own_is_open ? *listener.said : silent_tick);
    } else {
        sum_frame heard = open_sum;
        add_restricted(heard, listener);
        saturate_without(out, heard, own_is_open ? *listener.said : silent_tick);
    }
    listener.leg->hear(out, due_s);
}

void conference::add_restricted(sum_frame& heard, const seat& listener) const {
    for (const seat* const speaker : restricted) {
        if (speaker != &listener && speaker->member->may_be_heard_by(listener.member->id)) {
            add(heard, *speaker->said);
        }
    }
}

void conference::add_sources(sum_frame& heard, const seat& listener) const {
    for (const std::string& source : listener.member->get_sources()) {
        const seat* const speaker = find_seat(source);
        if (speaker != nullptr && speaker != &listener && speaker->said &&
            speaker->member->may_be_heard_by(listener.member->id)) {
            add(heard, *speaker->said);
        }
    }
}

const conference::seat* conference::find_seat(const std::string& stream_id) const {
    const auto found = std::lower_bound(
        seats.begin(), seats.end(), stream_id,
        [](const seat& taken, const std::string& wanted) { return taken.member->id < wanted; });
    return found != seats.end() && found->member->id == stream_id ? &*found : nullptr;
}

} // namespace vocalink
