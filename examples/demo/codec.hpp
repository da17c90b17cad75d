// SPDX-License-Identifier: GPL-3.0-or-later
// What a telephone does to sound before it sends it and after it received it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace vocalink::demo {

inline constexpr int sample_rate_hz = 8000;
inline constexpr std::size_t frame_samples = 160; ///< 20 ms, one packet of every codec used here

/** Linear samples of one packet. */
using frame = std::array<std::int16_t, frame_samples>;

/** The codec states of one telephone, of one direction or both. It shares no code with the
 *  daemon, so that the two check each other. */
class codec {
  public:
    virtual ~codec() = default;

    /** The payload type that stands in the RTP header. */
    [[nodiscard]] virtual int payload_type() const = 0;

    /** Bytes that one frame is encoded into. */
    [[nodiscard]] virtual std::size_t payload_bytes() const = 0;

    /** @param payload  payload_bytes() bytes */
    virtual void encode(const frame& samples, std::span<std::uint8_t> payload) = 0;

    /** @param payload  payload_bytes() bytes */
    virtual void decode(std::span<const std::uint8_t> payload, frame& samples) = 0;
};

/** @param encoding  "PCMU", "G729" or "ILBC20", as the daemon's commands have it
 *  @throws std::invalid_argument for any other */
[[nodiscard]] std::unique_ptr<codec> make_codec(const std::string& encoding);

/** The linear sample of one G.711 mu-law byte. */
[[nodiscard]] std::int16_t linear_of_ulaw(std::uint8_t byte);

} // namespace vocalink::demo
