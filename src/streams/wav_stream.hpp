// SPDX-License-Identifier: GPL-3.0-or-later
// The listener that writes what it hears to a WAV file.
#pragma once

#include "audio/voice_decoder.hpp"
#include "recording/wav_recording.hpp"
#include "streams/stream.hpp"

#include <memory>
#include <string>

namespace vocalink {

/** Hears what a bridge gives it and says nothing. The file begins with the first join. In a
 *  conference it is as long as the clock says, and time outside a bridge is silence in it; a bridge
 *  of the other kind decides itself how much audio there is. */
class wav_stream : public stream {
  public:
    /** @param target  opened, or being opened */
    wav_stream(std::string id, std::unique_ptr<wav_recording> target);
    ~wav_stream() override;

    int read_incoming_rtp(char* buf, int len, bool drain) override;
    int write_outgoing(const char* buf, int len) override;
    void dump_stats(std::ostream& os) override;
    void dump_detailed_stats(std::ostream& os) override;
    [[nodiscard]] std::string_view kind_word() const override { return "wav_stream"; }
    [[nodiscard]] std::string list_stream() override;
    [[nodiscard]] std::unique_ptr<conference_leg> make_conference_leg() override;

  private:
    class leg;

    void append(std::span<const std::int16_t> samples);
    /** How far the file is behind the clock, in frames of 20 ms. */
    [[nodiscard]] double lag(double now_s) const;
    void fill(double frames);

    const std::unique_ptr<wav_recording> file;
    voice_decoder relayed;  // decodes what a partner's telephone sends
    bool started = false;   // a join, or the first audio
    double begin_s = 0.0;   // monotonic clock: where the file begins
    double written_s = 0.0; // length of the file
};

} // namespace vocalink
