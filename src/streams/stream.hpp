// SPDX-License-Identifier: GPL-3.0-or-later
// The media endpoint from which every stream kind derives.
#pragma once

#include "audio/codec.hpp"
#include "audio/mixer.hpp"
#include "recording/recording.hpp"
#include "streams/packet_counters.hpp"
#include "streams/routing_rules.hpp"
#include "util/event_loop.hpp"
#include "util/prefetch.hpp"
#include "util/repeat_guard.hpp"
#include "util/signal.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace vocalink {

class conference_leg;

/** Of the usual processors. */
inline constexpr std::size_t cache_line_bytes = 64;

/** Codes of the kinds that others must tell apart. */
enum stream_kind : int {
    kind_other = 0,
    kind_rtp = 1,
    kind_sound = 3, // speaks only
    kind_event = 4, // speaks only, in packets that are passed on unmixed
};

/** An endpoint that a bridge can read frames from and write frames to.
 *
 *  Owned by the connection that created it, as a raw pointer in a map: a stream may also end
 *  itself, always as the last act of one of its own loop callbacks, and tells every holder through
 *  deleted_signal. Loop thread only. */
class alignas(cache_line_bytes) stream {
  public:
    /** @param encoding  word of the codec */
    stream(std::string id, std::string_view encoding, stream_kind kind = kind_other);
    stream(const stream&) = delete;
    stream& operator=(const stream&) = delete;
    virtual ~stream();

    // Data stands in the order of use: what every relayed packet touches lies together, here and from
    // `recordings` on into the first members of rtp_stream.

    /** What the codec word given at creation selected. */
    const audio_codec& codec;
    const rtp_payload payload;
    const int frame_bytes; // encoded bytes per packet

    /** Emitted with the stream itself when it has something to read. The stream listens to its
     *  input only while somebody is connected here. */
    util::signal1<stream*> sync_signal;

    /** What this stream is called within its connection. */
    const std::string id;

    /** Emitted once with the id, by the base destructor: listeners may use the base part alone. */
    util::signal1<std::string> deleted_signal;
    /** Carries notices to the controller, without line end. */
    util::signal1<std::string> notify_signal;

    [[nodiscard]] stream_kind get_type() const { return type; }

    /** Fetches into the cache what each packet needs. */
    void prefetch() const {
        util::prefetch(this, 1);
        util::prefetch(&recordings, hot_bytes);
    }

    /** The SSRC, as it stands in packets, of a stream that hands out packets of its own making; none
     *  for an endpoint, which hands out those of its far end. */
    [[nodiscard]] std::optional<std::uint32_t> get_source() const { return source; }

    /** The frame most recently received and decoded: 240 linear samples, of which a 20 ms codec
     *  uses 160; a DTMF event stream keeps its packet there instead. */
    [[nodiscard]] short* incoming_packet() { return incoming.data(); }
    /** The frame to send next, of the same shape. */
    [[nodiscard]] short* outgoing_packet() { return outgoing.data(); }
    /** Samples in a frame of this stream's codec: 160, or 240 for 30 ms iLBC. */
    [[nodiscard]] int frame_samples() const { return codec.frame_samples; }

    /** Silences the first frame_bytes samples of the incoming frame.
     *  Deliberate: docs/behaviours.md#partial-silence */
    void clear_incoming_buffer();
    void clear_outgoing_buffer();

    // Who hears whom: the operations of routing_rules.
    void set_stream_targets(std::deque<std::string>& ids) { routing.set_targets(ids); }
    void clear_stream_targets() { routing.clear_targets(); }
    void set_stream_restricted() { routing.set_restricted(true); }
    void clear_stream_restricted() { routing.set_restricted(false); }
    void set_stream_sources(std::deque<std::string>& ids) { routing.set_sources(ids); }
    void clear_stream_sources() { routing.clear_sources(); }
    void set_stream_selective() { routing.set_selective(true); }
    void clear_stream_selective() { routing.set_selective(false); }
    [[nodiscard]] bool is_restricted() const { return routing.is_restricted(); }
    [[nodiscard]] bool is_selective() const { return routing.is_selective(); }
    [[nodiscard]] const std::vector<std::string>& get_sources() const {
        return routing.get_sources();
    }
    [[nodiscard]] bool may_be_heard_by(const std::string& listener_id) const {
        return routing.may_be_heard_by(listener_id);
    }
    [[nodiscard]] bool wants_to_hear(const std::string& speaker_id) const {
        return routing.wants_to_hear(speaker_id);
    }

    // Recordings, by name. They end, and their files are finished, with the stream at the latest.
    [[nodiscard]] bool has_recording(const std::string& recording_name) const;
    void add_recording(const std::string& recording_name, std::unique_ptr<recording> started);
    void remove_recording(const std::string& recording_name);
    /** Lets the data of a recording be written and announced. */
    void release_recording(const std::string& recording_name);

    /** Adds count member frames into the outgoing frame, saturating. */
    void mix(const short* const* frames, int count);
    /** Adds a sum less one of its frames into the outgoing frame, saturating. */
    void mix_without(const frame_sum& sum, const short* own);

    // Listeners of a partner's, or of this stream's own, sync_signal.

    /** Reads what the sender has and throws it away. */
    void handle_null_sync_signal(stream* sender);
    /** Relays what the sender has to this stream's far end, if the routing of both allows. */
    void handle_direct_sync_signal(stream* sender);
    /** Starts or stops the input as listeners of sync_signal come and go. */
    void handle_sync_signal_changed();

    /** Produces the next packet.
     *  @param buf  where the packet goes as received, len bytes of room; null to have it decoded
     *  into the incoming frame instead
     *  @param drain  take everything that waits, keeping the last
     *  @return bytes of the packet, 0 when there was none or it was not audio of this codec's size
     */
    virtual int read_incoming_rtp(char* buf, int len, bool drain) = 0;
    /** Moves the far end; the base only logs that it has none. @throws stream_exception */
    virtual void set_stream_endpoint(std::string ip, int port);
    /** Installs SRTP keys of 30 bytes each; the base only logs that it takes none. */
    virtual void set_stream_encryption(const unsigned char* send_key,
                                       const unsigned char* recv_key);
    /** Names the payload type of this stream's audio, 96 to 127, where its codec has none of its own;
     *  the base only logs. */
    virtual void set_stream_payload(int payload_type);
    /** Names a payload type of telephone events, 96 to 127, besides the usual ones; the base only
     *  logs that it has none. */
    virtual void set_stream_events(int payload_type);
    /** Sends a packet of len bytes as it is, or the encoded outgoing frame when buf is null. The
     *  packet may be shared with other members and is not changed.
     *  @return bytes sent, 0 when nothing was, -1 when the socket would not take it at once */
    virtual int write_outgoing(const char* buf, int len) = 0;
    /** Releases what this stream keeps for a source of packets that it sent on and that has ended;
     *  the base keeps nothing. @param ssrc  as it stands in packets */
    virtual void forget_source(std::uint32_t ssrc);
    /** " incoming_packets=N outgoing_packets=N", and the failures if there were any. */
    virtual void output_stats(std::ostream& os);
    /** " incoming_packets=N outgoing_packets=N". */
    void output_packet_counts(std::ostream& os) const;
    /** What the line from the far end is like, " lost=N" and more; the base has no line. */
    virtual void output_line_stats(std::ostream& os) const;
    /** Adds what this stream has counted since the last call to the sums of its kind; the base has
     *  none. */
    virtual void settle_figures() {}
    /** The word that creates streams of this kind. */
    [[nodiscard]] virtual std::string_view kind_word() const = 0;
    /** One row of addresses for the operator; no line end. */
    virtual void dump_stats(std::ostream& os) = 0;
    /** One row of counters for the operator; no line end. */
    virtual void dump_detailed_stats(std::ostream& os) = 0;
    /** One line of the operator's table, to stand behind table_header; begins with its line end. */
    [[nodiscard]] std::string table_row();
    static constexpr const char* table_header =
        "                Stream ID     In/Drop   Out/Drop   Approx Jitter R? Streams";
    /** Queues tones; the base only logs. */
    virtual void put_tones(std::string digits);
    /** What the list command shows of this stream. */
    [[nodiscard]] virtual std::string list_stream() = 0;
    /** This stream's part in a conference that it joins. @throws stream_exception when a codec state
     *  cannot be made */
    [[nodiscard]] virtual std::unique_ptr<conference_leg> make_conference_leg() = 0;
    virtual void enable_stream_loop();
    virtual void disable_stream_loop();

  protected:
    /** Starts the silence check; called by the kinds that end themselves when nothing happens. */
    void arm_timeout_timer();
    /** Ends a stream that has been silent for ten time-outs. May destroy this. */
    void stream_timeout_callback(ev::timer& timer, int events);
    /** "TIMEOUT STREAM id" and the counters, as a notice. */
    void emit_timeout_event();
    /** Hands a packet to the recordings that take it; does nothing while there are none.
     *  @param headers  of the packet's direction
     *  @param packet  len bytes, RTP header included
     *  @param waited_s  since it arrived */
    void log_packet(pkt_hdr_pcap& headers, const char* packet, int len, RecordingDirs dir,
                    bool is_audio, double waited_s = 0.0);
    /** Splits a wall-clock time into whole seconds and microseconds, both truncated. */
    static void dtime2ts(double t, unsigned* sec, unsigned* usec);
    /** Logs that a packet is shorter than what is sent of it, as often as the guard admits. */
    void log_size_mismatch(util::repeat_guard& guard, int need, int available) const;
    /** Logs how many lines a guard suppressed, if any. @param what  the lines told of */
    void log_suppressed(long long count, const char* what) const;
    /** Counts a packet of that many bytes, now. */
    void count_incoming(int bytes);
    /** Updates the interarrival jitter (after RFC 3550 6.4.1, in seconds) from last_rx_time. */
    void update_jitter();

    std::optional<std::uint32_t> source;
    bool loop = false; // the input is listened to
    std::uint16_t spare_seq = 0;
    mixed_frame incoming;
    mixed_frame outgoing;

  private:
    static constexpr std::size_t hot_bytes = 448; // from `recordings` into derived classes

    const stream_kind type;
    ev::timer timeout_timer;
    std::map<std::string, std::unique_ptr<recording>> recordings;

  protected:
    routing_rules routing;

    double last_rx_time;         // s, loop clock: last packet received with data, or sent
    double prev_rx_time;         // s, the packet before
    double last_interval = 20.0; // Deliberate: docs/behaviours.md#approximate-jitter
    double jitter = 0.0;         // s, smoothed
    packet_counters counters;
};

} // namespace vocalink
