// SPDX-License-Identifier: GPL-3.0-or-later
// What of a caller's session description becomes a leg of the daemon, and our description of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vocalink::dialin {

/** A codec of the daemon under its names there and in SDP. */
struct codec {
    std::string_view word;     ///< encoding in the control protocol
    std::string_view sdp_name; ///< encoding name of the rtpmap; all run at a clock of 8000 Hz
    int payload_type;          ///< the static one, or -1
    int packet_ms;
    int ilbc_mode; ///< 20 or 30, 0 for other codecs
};

[[nodiscard]] const codec& pcmu();

/** Whether the caller wants audio from us and sends some. */
enum class direction { both, listens, held, held_and_silent };

/** What a leg is made from. */
struct media_choice {
    const codec* audio;
    int payload_type;               ///< of the audio, as the caller numbered it
    std::optional<int> events_type; ///< of telephone events, when the caller takes them
    std::string remote_ip;          ///< where the caller receives; "0.0.0.0" means nowhere
    std::uint16_t remote_port;
    direction flow;
    /** A line for each stream of the offer, which an answer must have too (RFC 3264 6): empty for
     *  the chosen one, else the line that refuses it. */
    std::vector<std::string> lines;

    [[nodiscard]] bool is_held() const {
        return flow == direction::held || flow == direction::held_and_silent;
    }
    /** False on hold of the old kind, and before the caller has named an address. */
    [[nodiscard]] bool has_address() const { return remote_port != 0 && remote_ip != "0.0.0.0"; }
};

/** Which media addresses a caller may name. */
struct address_policy {
    bool loopback;      ///< 127.0.0.0/8 as well
    bool only_the_same; ///< only the one that the SIP message came from
};

/** Chooses the caller's first codec that the daemon has.
 *  @param sdp     a session description from the network
 *  @param source  where the SIP message came from, dotted
 *  @param only    the one codec that will do, or null for any
 *  @return the choice, or why there is none */
[[nodiscard]] std::variant<media_choice, std::string_view>
choose_media(std::string_view sdp, const address_policy& policy, std::string_view source,
             const codec* only = nullptr);

/** Our description of the session without its origin line, which has a number that depends on the
 *  rest: begins with the line s=. */
[[nodiscard]] std::string describe(const media_choice& choice, std::string_view local_ip,
                                   std::uint16_t local_port);

/** The codec and the events that we offer to a caller who leaves the offer to us. */
[[nodiscard]] media_choice our_offer();

} // namespace vocalink::dialin
