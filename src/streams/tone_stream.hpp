// SPDX-License-Identifier: GPL-3.0-or-later
// The generator and detector of signalling tones.
#pragma once

#include "audio/tone_detector.hpp"
#include "audio/tone_generator.hpp"
#include "rtp/rtp_packet.hpp"
#include "streams/timer_stream.hpp"
#include "util/repeat_guard.hpp"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vocalink {

/** Sends signalling tones into a bridge, and may look for them in what the bridge sends it. Both
 *  sides of its packets are raw 16-bit samples in host order, not µ-law. Tones reach a partner by
 *  relay only; they are no part of a mix. A Bell MF stream begins with the digits 1234. */
class tone_stream : public timer_stream {
  public:
    /** @param detect  look for digits in what arrives
     *  @throws stream_exception when a tone state cannot be made */
    tone_stream(std::string id, ToneType type, bool detect);
    ~tone_stream() override;

    int read_incoming_rtp(char* buf, int len, bool drain) override;
    int write_outgoing(const char* buf, int len) override;
    void dump_stats(std::ostream& os) override;
    void dump_detailed_stats(std::ostream& os) override;
    [[nodiscard]] std::string_view kind_word() const override { return "tone_stream"; }
    [[nodiscard]] std::string list_stream() override;
    [[nodiscard]] std::unique_ptr<conference_leg> make_conference_leg() override;

    /** Queues digits to send. */
    void put_tones(std::string digits) override;
    /** dBm0 and dB; DTMF only. */
    void set_level(int level, int twist) { generator.set_level(level, twist); }
    /** ms; DTMF only. */
    void set_timing(int on_time, int off_time) { generator.set_timing(on_time, off_time); }

    /** The digits detected and not yet collected, the latest 1,024 at most. @param clear  collect
     */
    [[nodiscard]] std::string tones_detected(bool clear);

  private:
    class leg; // tone_conference.cpp

    /** Logs digits and keeps them for tones_detected(). */
    void keep_digits(std::string_view digits);
    void run_detector(const char* body, std::size_t body_bytes);

    static constexpr int generated_samples = 400;

    const ToneType tone_type;
    const bool detect;
    rtp_hdr_t rtp_header;                                // of the packet before
    std::array<short, generated_samples> tone_samples{}; // keeps the last tone where none is sent
    tone_generator generator;
    std::optional<tone_detector> detector; // none for R2
    std::string detected;
    util::repeat_guard size_mismatches;
};

} // namespace vocalink
