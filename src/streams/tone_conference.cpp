// SPDX-License-Identifier: GPL-3.0-or-later
// Signalling tones in a conference: they are part of the mix, and are looked for in it.
#include "audio/tone_detector.hpp"
#include "streams/conference_leg.hpp"
#include "streams/tone_stream.hpp"

#include <algorithm>
#include <optional>

namespace vocalink {

class tone_stream::leg : public conference_leg {
  public:
    explicit leg(tone_stream& signalling) : owner(signalling) {
        if (owner.detect) {
            detector.emplace(owner.tone_type);
        }
    }

    [[nodiscard]] std::optional<tick_view> speak(double) override {
        const int count = owner.generator.generate(frame.data(), static_cast<int>(frame.size()));
        if (count <= 0) {
            return {};
        }
        std::fill(frame.begin() + count, frame.end(), 0);
        owner.count_incoming(static_cast<int>(sizeof frame));
        return frame;
    }

    [[nodiscard]] bool listens() const override { return owner.detect; }

    void hear(const tick_frame& heard, double) override {
        for (const char digit : detector->detect(heard)) {
            owner.keep_digits({&digit, 1});
            owner.notify_signal.emit("TONE STREAM " + owner.id + " DIGITS " + digit);
        }
    }

  private:
    tone_stream& owner;
    std::optional<tone_detector> detector;
    tick_frame frame{};
};

std::unique_ptr<conference_leg> tone_stream::make_conference_leg() {
    return std::make_unique<leg>(*this);
}

} // namespace vocalink
