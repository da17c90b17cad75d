// SPDX-License-Identifier: GPL-3.0-or-later
// Datagrams on their way through streams and a bridge of either kind.
//
// Input: a byte for the bridge, one for the number of parties, one for each party's codec and keys;
// then steps, each begun by a byte.
#include "base/exceptions.hpp"
#include "control/owned_objects.hpp"
#include "streams/dtmf_stream.hpp"
#include "streams/rtp_stream.hpp"
#include "streams/tone_stream.hpp"
#include "support/far_end.hpp"
#include "support/world.hpp"

#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace vocalink;
using fuzz::world;

namespace {

constexpr const char* encodings[] = {"PCMU", "PCMA", "G722", "G729", "ILBC20", "ILBC30"};
constexpr unsigned char keys[60] = {1, 2, 3};

struct party {
    std::string id;
    std::unique_ptr<fuzz::far_end> phone;
};

party new_party(owned_objects& objects, std::string id, std::uint8_t options) {
    auto made = std::make_unique<rtp_stream>(id, "127.0.0.1", "127.0.0.1", 9,
                                             encodings[options % std::size(encodings)]);
    if ((options & 0x40) != 0) {
        made->set_stream_encryption(keys, keys + 30);
    }
    if ((options & 0x80) != 0) {
        made->set_stream_events(96);
    }
    const rtp_stream& adopted = objects.adopt(std::move(made));
    return {std::move(id), std::make_unique<fuzz::far_end>(adopted.local_port())};
}

void join_or_leave(bridge& room, stream* member) {
    if (member == nullptr) { // it has ended itself
        return;
    }
    if (room.find_stream(member->id) == nullptr) {
        room.add_stream(member);
    } else {
        room.remove_stream(member->id);
    }
}

void route(stream& member, std::uint8_t choice) {
    std::deque<std::string> others{"p0", "p1"};
    choice % 2 == 0 ? member.set_stream_restricted() : member.set_stream_selective();
    choice % 4 < 2 ? member.set_stream_targets(others) : member.set_stream_sources(others);
}

void add_speaker(owned_objects& objects, bridge& room, std::uint8_t choice) {
    const std::string id = "speaker" + std::to_string(choice);
    if (objects.find_stream(id) != nullptr) {
        return;
    }
    if (choice % 2 == 0) {
        room.add_stream(&objects.adopt(std::make_unique<tone_stream>(id, DTMF, true)));
    } else {
        room.add_stream(&objects.adopt(std::make_unique<dtmf_stream>(id, "5", 101, 40)));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    world& around = world::instance();
    around.begin();
    fuzz::input in(data, size);
    owned_objects objects;
    objects.adopt(
        std::make_unique<bridge>("room", in.byte() % 2 == 0 ? make_relay_mix : make_conference));
    std::vector<party> parties(1 + in.byte() % 4);
    for (std::size_t i = 0; i < parties.size(); ++i) {
        parties[i] = new_party(objects, "p" + std::to_string(i), in.byte());
        objects.find_bridge("room")->add_stream(objects.find_stream(parties[i].id));
    }
    while (!in.empty() && objects.find_bridge("room") != nullptr) {
        const std::uint8_t step = in.byte();
        party& chosen = parties[step % parties.size()];
        stream* const leg = objects.find_stream(chosen.id);
        switch (step >> 4) {
        case 0:
            around.pass_time(1000 * in.byte());
            break;
        case 1:
            join_or_leave(*objects.find_bridge("room"), leg);
            break;
        case 2:
            add_speaker(objects, *objects.find_bridge("room"), in.byte());
            break;
        case 3:
            if (leg != nullptr) {
                route(*leg, in.byte());
            }
            break;
        case 4:
        case 5:
        case 6:
        case 7:
            around.pass_time(5 * (step >> 4));
            break;
        default:
            chosen.phone->send(in);
        }
    }
    std::ostringstream told;
    for (const auto& [id, leg] : objects.streams()) {
        leg->output_stats(told);
        leg->output_line_stats(told);
        leg->dump_detailed_stats(told);
    }
    return 0;
}
