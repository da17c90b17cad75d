// SPDX-License-Identifier: GPL-3.0-or-later
// Both receivers of telephone events. Input: a packet in every 12 bytes.
#include "rtp/event_receiver.hpp"
#include "rtp/key_receiver.hpp"
#include "support/input.hpp"

#include <cassert>

using namespace vocalink;

namespace {

/** Every key goes down before it is let go, and none twice. */
class keyboard {
  public:
    void note(const key_receiver::changes& made) {
        assert(made.count >= 0 && made.count <= static_cast<int>(made.list.size()));
        for (int i = 0; i < made.count; ++i) {
            const key_receiver::change& change = made.list[static_cast<std::size_t>(i)];
            assert(change.down != down && "told twice");
            assert(change.down || change.event.code == code);
            assert(change.event.duration >= 0);
            down = change.down;
            code = change.event.code;
        }
    }
    [[nodiscard]] bool pressed() const { return down; }

  private:
    bool down = false;
    int code = -1;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    event_receiver by_marker;
    key_receiver by_time;
    keyboard keys;
    bool in_progress = false;
    double now_s = 0;
    while (!in.empty()) {
        now_s += in.byte() * 0.001;
        rtp_view view;
        const std::uint8_t flags = in.byte();
        view.marker = (flags & 1) != 0;
        view.ssrc = flags >> 6;
        view.sequence = in.number<std::uint16_t>();
        view.timestamp = in.number<std::uint32_t>() >> (flags >> 1 & 31);
        const auto event = in.bytes(4);
        if (event.size() < 4) {
            break;
        }
        view.payload = event;
        const event_receiver::report told = by_marker.take(view);
        assert(!told.ended || in_progress);
        assert(told.started ? by_marker.in_progress() : true);
        in_progress = by_marker.in_progress();
        keys.note(by_time.put({view.ssrc, view.timestamp, parse_telephone_event(event)}, now_s));
        assert(by_time.pressed() == keys.pressed());
        keys.note(by_time.expire(now_s));
    }
    keys.note(by_time.expire(now_s + 10));
    assert(!keys.pressed());
    return 0;
}
