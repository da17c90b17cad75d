// SPDX-License-Identifier: GPL-3.0-or-later
// The sound device in a conference: it plays every tick.
#include "audio/g711.hpp"
#include "streams/alsa_stream.hpp"
#include "streams/conference_leg.hpp"

namespace vocalink {

namespace {

// Played ahead of the first tick, so that a tick that comes late does not leave the player without
// samples.
constexpr int lead_frames = 3;

} // namespace

class alsa_stream::leg : public conference_leg {
  public:
    explicit leg(alsa_stream& playing) : owner(playing) {
        for (int i = 0; i < lead_frames; ++i) {
            play(tick_frame{});
        }
    }

    [[nodiscard]] std::optional<tick_view> speak(double) override { return {}; }
    [[nodiscard]] bool listens() const override { return true; }
    void hear(const tick_frame& frame, double) override { play(frame); }

  private:
    void play(const tick_frame& frame) {
        std::array<char, tick_samples> encoded;
        linear2ulaw(frame.data(), encoded.data(), static_cast<int>(encoded.size()));
        owner.player.write(encoded.data(), encoded.size());
    }

    alsa_stream& owner;
};

std::unique_ptr<conference_leg> alsa_stream::make_conference_leg() {
    return std::make_unique<leg>(*this);
}

} // namespace vocalink
