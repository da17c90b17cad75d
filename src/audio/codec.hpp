// SPDX-License-Identifier: GPL-3.0-or-later
// The codecs, one row each: everything that depends on a codec reads it here.
#pragma once

#include "rtp/rtp_payload.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace vocalink {

/** Turns the frames of one far end into linear samples. Belongs to one stream; loop thread only. */
class codec_decoder {
  public:
    virtual ~codec_decoder() = default;
    /** Decodes whole frames. @param samples  room for audio_codec::samples_in() of them */
    virtual void decode(std::span<const std::uint8_t> payload, std::int16_t* samples) = 0;
    /** Makes up the next frame in place of a lost one.
     *  @param samples  room for one frame
     *  @return samples written, 0 for codecs that have no concealment of their own */
    virtual int conceal(std::int16_t*) { return 0; }
    /** Forgets what came before: another source speaks now. */
    virtual void restart() {}
    /** Whether there is one for all streams, because the codec has no state. It stays. */
    [[nodiscard]] virtual bool is_shared() const { return false; }
};

/** Turns linear samples into frames. Belongs to one stream; loop thread only. */
class codec_encoder {
  public:
    virtual ~codec_encoder() = default;
    /** Encodes one packet, audio_codec::frame_samples into audio_codec::frame_bytes. */
    virtual void encode(const std::int16_t* samples, std::uint8_t* payload) = 0;
    /** Whether there is one for all streams, because the codec has no state. It stays. */
    [[nodiscard]] virtual bool is_shared() const { return false; }
};

/** Deletes decoders and encoders that are not shared. */
struct codec_deleter {
    codec_deleter() = default;
    template <class Coder>
    codec_deleter(const std::default_delete<Coder>&) {
    } // NOLINT: from what std::make_unique() gives

    template <class Coder>
    void operator()(Coder* coder) const {
        if (!coder->is_shared()) {
            delete coder;
        }
    }
};

using codec_decoder_ptr = std::unique_ptr<codec_decoder, codec_deleter>;
using codec_encoder_ptr = std::unique_ptr<codec_encoder, codec_deleter>;

/** The facts of one codec in one mode. */
struct audio_codec {
    std::string_view word;   // that selects it in commands
    rtp_payload payload;     // its payload type
    const char* format_name; // registered (RFC 3551, RFC 3952)
    int clock_hz;            // of its RTP timestamps

    // Packets that streams send.
    int frame_bytes;
    int frame_samples;
    std::uint8_t idle_byte; // fills payloads that are not encoded

    // Packets that are accepted: 1 to most_units units.
    int unit_bytes;
    int unit_samples;
    int most_units;
    int last_unit_bytes; // other length allowed for the last unit, 0 for none

    // What `new vocalink` mixes; it relays every codec.
    // Deliberate: docs/behaviours.md#mix-codecs
    bool heard_in_mix; // RTP endpoints speak
    bool file_in_mix;  // sound files speak
    bool hears_mix;    // RTP endpoints listen

    // The filling for missing packets in raw recordings.
    std::span<const unsigned char> silence; // one frame
    int timestamps_per_byte;

    // Null when no state can be made.
    codec_decoder_ptr (*make_decoder)();
    codec_encoder_ptr (*make_encoder)();

    /** The samples in a payload of that length, 0 when it is not whole or too long. */
    [[nodiscard]] int samples_in(std::size_t bytes) const;
    /** @throws stream_exception when the state cannot be made */
    [[nodiscard]] codec_decoder_ptr new_decoder() const;
    [[nodiscard]] codec_encoder_ptr new_encoder() const;
};

/** All codecs; iLBC has a row for each of its modes. */
[[nodiscard]] std::span<const audio_codec> audio_codecs();

/** The codec that an encoding word selects; every unknown word means µ-law. */
[[nodiscard]] const audio_codec& codec_of_word(std::string_view word);

/** The codec of a payload type whose packets have that length, or null. */
[[nodiscard]] const audio_codec* find_codec(int payload_type, int frame_bytes);

// The facts of a payload type for raw recordings; every unknown type counts as µ-law.

/** RTP timestamp units per payload byte. */
[[nodiscard]] int payload_ts_inc(rtp_payload payload);
/** Bytes of one codec frame: 10 (10 ms) for G.729, 160 (20 ms of G.711) for all others. */
[[nodiscard]] int payload_frame_size(rtp_payload payload);
/** One frame of silence, payload_frame_size() bytes, constant. */
[[nodiscard]] const unsigned char* payload_silence_frame(rtp_payload payload);

} // namespace vocalink
