// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP endpoint: a UDP socket, a far end, and a codec.
#pragma once

#include "audio/codec.hpp"
#include "rtp/code_watcher.hpp"
#include "rtp/event_numbering.hpp"
#include "rtp/event_receiver.hpp"
#include "rtp/line_quality.hpp"
#include "rtp/payload_types.hpp"
#include "rtp/reception.hpp"
#include "rtp/rtp_packet.hpp"
#include "rtp/rtp_view.hpp"
#include "rtp/sap_announcer.hpp"
#include "rtp/srtp_session.hpp"
#include "streams/rtp_figures.hpp"
#include "streams/stream.hpp"
#include "util/packet_poll.hpp"
#include "util/repeat_guard.hpp"
#include "util/unique_fd.hpp"

#include <array>
#include <bitset>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include <netinet/in.h>

namespace vocalink {

class rtp_ports;

/** Sends and receives RTP over UDP (IPv4). Sends to whoever sent to it last.
 *  Deliberate: docs/behaviours.md#last-sender */
class rtp_stream : public stream {
  public:
    /** Binds the next free even port of local_ip: of those that the option -p names, if one of them
     *  is free, and otherwise of the usual ones.
     *  @param local_ip, remote_ip  dotted text
     *  @param remote_port  host order
     *  @throws stream_exception "No available UDP ports" when nothing can be bound or an address is
     *          none of this machine's or no address at all, and others when the system refuses a
     *          socket */
    rtp_stream(std::string id, std::string local_ip, std::string remote_ip, int remote_port,
               std::string_view encoding);
    ~rtp_stream() override;

    /** The dotted address; padded to three digits a number for aligned listings. */
    [[nodiscard]] std::string local_ip(bool padded) const;
    [[nodiscard]] std::string remote_ip(bool padded) const;
    /** The port in host order, decimal. */
    [[nodiscard]] std::string local_port() const;
    [[nodiscard]] std::string remote_port() const;

    int read_incoming_rtp(char* buf, int len, bool drain) override;
    void set_stream_endpoint(std::string ip, int port) override;
    void set_stream_encryption(const unsigned char* send_key,
                               const unsigned char* recv_key) override;
    int write_outgoing(const char* buf, int len) override;
    void forget_source(std::uint32_t ssrc) override;
    void dump_stats(std::ostream& os) override;
    void dump_detailed_stats(std::ostream& os) override;
    void set_stream_payload(int payload_type) override;
    void set_stream_events(int payload_type) override;
    void output_line_stats(std::ostream& os) const override;
    void settle_figures() override;
    /** What all endpoints have settled; one that ends settles what is left. */
    [[nodiscard]] static const rtp_figures& total_figures();
    [[nodiscard]] std::string_view kind_word() const override { return "rtp_stream"; }
    [[nodiscard]] std::string list_stream() override;
    [[nodiscard]] std::unique_ptr<conference_leg> make_conference_leg() override;
    void enable_stream_loop() override;
    void disable_stream_loop() override;

  private:
    class leg; // rtp_conference.hpp

    // Construction: rtp_stream.cpp
    /** A non-blocking UDP socket. @throws stream_exception */
    static util::unique_fd new_udp_socket();
    void bind_local();
    bool bind_to_one_of(rtp_ports& ports);
    void read_back_local_address();
    [[noreturn]] void refuse_address(const std::string& why);

    // Receiving: rtp_stream_receive.cpp
    void device_stream_callback();
    int receive(char* packet, int room, sockaddr_in& sender);
    int drain_socket(char* packet, int room, int received, sockaddr_in& sender,
                     std::span<const std::uint8_t>& audio);
    void unprotect_drained(char* packet, int previous, int received);
    void note_reception(const sockaddr_in& sender, int received);
    std::span<const std::uint8_t> audio_packet_data(char* packet, int len);
    static bool is_cut_event(const rtp_view& view);
    bool classify(const rtp_view& view);
    void report_unknown_type(int payload_type);
    void count_unheard(const rtp_view& view, int len, bool audio);
    void report_unheard(const rtp_view& view, int len);

    // Keys and codes: rtp_stream_events.cpp
    void watch_for_code(const char* pkt, int len);
    void handle_event(const rtp_view& view);
    void notify_dtmf_start(const telephone_event& event);
    void notify_dtmf_end(const telephone_event& event);
    void renumber_event(char* pkt, const rtp_view& view);

    // Sending: rtp_stream_send.cpp
    void report_size_mismatch(int need, int available);
    void prepare_own_packet(bool audio);
    const char* changed_for_far_end(const char* pkt, const rtp_view& view, int len, char* copy);
    int send_protected(const char* pkt, int len);
    int send_packet(const char* pkt, int len);
    int send_counted(const char* pkt, int len, bool audio);

    // Encryption: rtp_stream_srtp.cpp
    bool unprotect(char* packet, int& len);
    void protect(char* packet, int& len);

    // Announcement: rtp_stream_sap.cpp
    void enable_sap();

    // Figures: rtp_stream_figures.cpp
    [[nodiscard]] rtp_figures figures() const;
    /** The line as measured in conferences and out of them. */
    [[nodiscard]] line_quality whole_line() const;

    // Hot: every packet.
    util::unique_fd fd;
    sockaddr_in remote_addr{}; // the last sender, or as commanded
    payload_types types;       // of the far end
    event_receiver keys;       // that the far end presses
    code_watcher codes;        // that it sends in its packets
    reception arrivals;        // outside conferences, where the playout buffer counts
    struct srtp_sessions {
        srtp_session send;
        srtp_session recv;
    };
    std::unique_ptr<srtp_sessions> srtp; // once keys are set
    util::packet_watcher packets;        // after fd: stops before the descriptor closes

    // A mix, a digit, a recording.
    const codec_encoder_ptr encoder; // of a stream that hears mixes
    const codec_decoder_ptr decoder; // of one that is heard in them
    /** Header template and payload of the packets that this stream makes itself. */
    alignas(4) std::array<char, rtp_header_bytes + usual_frame_samples> own_packet{};
    event_numbering relayed_events;
    pkt_hdr_pcap pcap_in; // headers of recorded packets, by the addresses at creation
    pkt_hdr_pcap pcap_out;
    line_quality line;              // measured in conferences that it has left
    leg* conference_part = nullptr; // in the one that it is in, which owns it

    // The rest of the call.
    sockaddr_in local_addr{};
    std::unique_ptr<sap_announcer> sap; // of a stream that sends to a multicast group
    long long encrypt_failures = 0;
    long long decrypt_failures = 0;
    std::unique_ptr<rtp_figures> settled_figures; // since somebody has asked for figures
    long long no_rtp_packets = 0;                 // received
    long long wrong_size_packets = 0;             // of audio
    std::bitset<128> logged_types;     // unknown payload types that have had their log line
    long long suppressed_types = 0;    // packets of such types since
    util::repeat_guard unheard;        // packets of another size than this stream takes
    util::repeat_guard handed_nothing; // by a partner that read a packet that is not audio
    util::repeat_guard size_mismatches;
    util::repeat_guard send_refusals; // by the system
};

} // namespace vocalink
