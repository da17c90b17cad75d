// SPDX-License-Identifier: GPL-3.0-or-later
// What of a caller's session description becomes a leg of the daemon, and our description of it.
#include "media_offer.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>

#include <arpa/inet.h>
#include <sofia-sip/sdp.h>
#include <strings.h>

namespace vocalink::dialin {

namespace {

constexpr std::array<codec, 6> codecs{{{"PCMU", "PCMU", 0, 20, 0},
                                       {"G711A", "PCMA", 8, 20, 0},
                                       {"G722", "G722", 9, 20, 0},
                                       {"G729", "G729", 18, 20, 0},
                                       {"ILBC20", "iLBC", -1, 20, 20},
                                       {"ILBC30", "iLBC", -1, 30, 30}}};
constexpr int first_dynamic_type = 96;
constexpr int our_events_type = 101;

struct parser_deleter {
    void operator()(sdp_parser_t* parser) const { sdp_parser_free(parser); }
};

bool is_named(const sdp_rtpmap_t& map, std::string_view name) {
    const std::string_view encoding = map.rm_encoding ? map.rm_encoding : "";
    return map.rm_rate == 8000 && encoding.size() == name.size() &&
           ::strncasecmp(encoding.data(), name.data(), name.size()) == 0;
}

// RFC 3952 4.1: the mode is 30 unless the caller says 20.
int ilbc_mode(const sdp_rtpmap_t& map) {
    const std::string_view parameters = map.rm_fmtp ? map.rm_fmtp : "";
    constexpr std::string_view key = "mode=";
    const std::size_t at = parameters.find(key);
    int mode = 30;
    if (at != std::string_view::npos) {
        std::from_chars(parameters.data() + at + key.size(), parameters.data() + parameters.size(),
                        mode);
    }
    return mode;
}

const codec* codec_of(const sdp_rtpmap_t& map) {
    const int type = map.rm_pt;
    for (const codec& candidate : codecs) {
        const bool right_type = candidate.payload_type >= 0 ? type == candidate.payload_type
                                                            : type >= first_dynamic_type;
        if (right_type && is_named(map, candidate.sdp_name) &&
            (candidate.ilbc_mode == 0 || candidate.ilbc_mode == ilbc_mode(map))) {
            return &candidate;
        }
    }
    return nullptr;
}

// Whether packets may be sent there at a stranger's word.
bool is_allowed(const std::string& text, const address_policy& policy, std::string_view source) {
    in_addr address{};
    if (::inet_pton(AF_INET, text.c_str(), &address) != 1) {
        return false;
    }
    const std::uint32_t host = ntohl(address.s_addr);
    if (host == INADDR_ANY) {
        return true; // on hold since before RFC 3264; nothing is sent
    }
    if (policy.only_the_same) {
        return text == source;
    }
    const std::uint32_t network = host >> 24;
    constexpr std::uint32_t loopback = 127;
    constexpr std::uint32_t first_multicast = 224; // reserved addresses and broadcast follow it
    return network != 0 && (network != loopback || policy.loopback) && network < first_multicast;
}

direction flow_of(const sdp_media_t& media, std::string_view address) {
    if (media.m_mode == sdp_inactive) {
        return direction::held_and_silent;
    }
    if (media.m_mode == sdp_sendonly || address == "0.0.0.0") {
        return direction::held;
    }
    return media.m_mode == sdp_recvonly ? direction::listens : direction::both;
}

bool is_plain_audio(const sdp_media_t& media) {
    return media.m_type == sdp_media_audio && media.m_port != 0 && !media.m_rejected &&
           media.m_proto == sdp_proto_rtp;
}

std::string refusal_of(const sdp_media_t& media) {
    std::string format = "0";
    if (media.m_rtpmaps != nullptr) {
        format = std::to_string(media.m_rtpmaps->rm_pt);
    } else if (media.m_format != nullptr) {
        format = media.m_format->l_text;
    }
    return std::string("m=") + media.m_type_name + " 0 " + media.m_proto_name + ' ' + format +
           "\r\n";
}

// The parser gives a whole description up for a map without a clock rate, even for one of a stream
// that would be refused. A receiver ignores what it does not understand (RFC 4566 5.13).
std::string without_incomplete_maps(std::string_view sdp) {
    std::string kept;
    while (!sdp.empty()) {
        const std::string_view line = sdp.substr(0, std::min(sdp.find('\n'), sdp.size() - 1) + 1);
        const std::size_t rate = line.find('/') + 1; // 0 when there is none
        if (!line.starts_with("a=rtpmap:") ||
            (rate != 0 && rate < line.size() && line[rate] >= '1' && line[rate] <= '9')) {
            kept += line;
        }
        sdp.remove_prefix(line.size());
    }
    return kept;
}

// The first plain audio stream, or null; the others are refused in `lines`.
const sdp_media_t* choose_stream(const sdp_session_t& session, std::vector<std::string>& lines) {
    const sdp_media_t* chosen = nullptr;
    for (const sdp_media_t* media = session.sdp_media; media != nullptr; media = media->m_next) {
        const bool takes = chosen == nullptr && is_plain_audio(*media);
        chosen = takes ? media : chosen;
        lines.push_back(takes ? "" : refusal_of(*media));
    }
    return chosen;
}

// RFC 3264 6.1: the other half of what the caller does.
std::string_view our_direction(direction caller) {
    switch (caller) {
    case direction::listens:
        return "a=sendonly\r\n";
    case direction::held:
        return "a=recvonly\r\n";
    case direction::held_and_silent:
        return "a=inactive\r\n";
    default:
        return "a=sendrecv\r\n";
    }
}

// Fills codec and payload types; false when there is no common codec.
bool choose_codec(const sdp_media_t& media, const codec* only, media_choice& choice) {
    for (const sdp_rtpmap_t* map = media.m_rtpmaps; map != nullptr; map = map->rm_next) {
        const codec* found = choice.audio == nullptr ? codec_of(*map) : nullptr;
        if (found != nullptr && (only == nullptr || only == found)) {
            choice.audio = found;
            choice.payload_type = map->rm_pt;
        } else if (!choice.events_type && map->rm_pt >= first_dynamic_type &&
                   is_named(*map, "telephone-event")) {
            choice.events_type = map->rm_pt;
        }
    }
    return choice.audio != nullptr;
}

} // namespace

const codec& pcmu() {
    return codecs.front();
}

media_choice our_offer() {
    return {&pcmu(), pcmu().payload_type, our_events_type, "0.0.0.0", 0, direction::both, {""}};
}

std::variant<media_choice, std::string_view> choose_media(std::string_view sdp,
                                                          const address_policy& policy,
                                                          std::string_view source,
                                                          const codec* only) {
    const std::string text = without_incomplete_maps(sdp);
    const std::unique_ptr<sdp_parser_t, parser_deleter> parser(
        sdp_parse(nullptr, text.data(), static_cast<issize_t>(text.size()), 0));
    const sdp_session_t* session = parser ? sdp_session(parser.get()) : nullptr;
    if (session == nullptr) {
        return "the session description is malformed";
    }
    media_choice choice{};
    const sdp_media_t* media = choose_stream(*session, choice.lines);
    if (media == nullptr) {
        return "no plain RTP audio";
    }
    const sdp_connection_t* connection = sdp_media_connections(media);
    if (connection == nullptr || connection->c_addrtype != sdp_addr_ip4 || media->m_port > 65'535 ||
        !is_allowed(connection->c_address, policy, source)) {
        return "the media address is not allowed";
    }
    choice.remote_ip = connection->c_address;
    choice.remote_port = static_cast<std::uint16_t>(media->m_port);
    choice.flow = flow_of(*media, choice.remote_ip);
    if (!choose_codec(*media, only, choice)) {
        return "no common codec";
    }
    return choice;
}

namespace {

std::string audio_section(const media_choice& choice, std::uint16_t local_port) {
    const std::string type = std::to_string(choice.payload_type);
    std::string line = "m=audio " + std::to_string(local_port) + " RTP/AVP " + type;
    std::string attributes =
        "a=rtpmap:" + type + ' ' + std::string(choice.audio->sdp_name) + "/8000\r\n";
    if (choice.audio->ilbc_mode != 0) {
        attributes +=
            "a=fmtp:" + type + " mode=" + std::to_string(choice.audio->ilbc_mode) + "\r\n";
    }
    if (choice.events_type) {
        const std::string events = std::to_string(*choice.events_type);
        line += ' ' + events;
        attributes +=
            "a=rtpmap:" + events + " telephone-event/8000\r\na=fmtp:" + events + " 0-15\r\n";
    }
    attributes += "a=ptime:" + std::to_string(choice.audio->packet_ms) + "\r\n";
    return line + "\r\n" + attributes.append(our_direction(choice.flow));
}

} // namespace

std::string describe(const media_choice& choice, std::string_view local_ip,
                     std::uint16_t local_port) {
    std::string text = "s=vocalink\r\nc=IN IP4 " + std::string(local_ip) + "\r\nt=0 0\r\n";
    for (const std::string& line : choice.lines) {
        text += line.empty() ? audio_section(choice, local_port) : line;
    }
    return text;
}

} // namespace vocalink::dialin
