// SPDX-License-Identifier: GPL-3.0-or-later
// The player of sound files.
#pragma once

#include "audio/codec.hpp"
#include "audio/sound_file.hpp"
#include "rtp/rtp_packet.hpp"
#include "streams/timer_stream.hpp"
#include "util/event_loop.hpp"

#include <memory>
#include <string>

namespace vocalink {

/** Speaks a file of encoded frames into a bridge and hears nothing. The file holds nothing but
 *  frames of frame_bytes bytes each; a last incomplete one is not played. One that does not loop
 *  ends at the end of its file, with the time-out notice, on the next turn of the loop. A frame that
 *  the disk delivers too late is played late: its time passes in silence. */
class sound_stream : public timer_stream {
  public:
    /** @param frames  the file as the reader opened it, or null for whatever is not a readable regular
     *                 file
     *  @throws stream_exception "Could not open sound file" for the latter */
    sound_stream(std::string id, std::string filename, bool loop, std::string_view encoding,
                 std::shared_ptr<sound_frames> frames);

    int read_incoming_rtp(char* buf, int len, bool drain) override;
    int write_outgoing(const char* buf, int len) override;
    void dump_stats(std::ostream& os) override;
    void dump_detailed_stats(std::ostream& os) override;
    [[nodiscard]] std::string_view kind_word() const override { return "sound_stream"; }
    [[nodiscard]] std::string list_stream() override;
    [[nodiscard]] std::unique_ptr<conference_leg> make_conference_leg() override;

    [[nodiscard]] std::string get_filename() const { return filename; }
    /** "loop" or "noloop". */
    [[nodiscard]] std::string get_loopflag() const { return loopflag ? "loop" : "noloop"; }

  private:
    class leg; // sound_conference.cpp

    const std::string filename;
    const bool loopflag;
    sound_file file;
    rtp_hdr_t rtp_header;                               // of the packet before
    pkt_hdr_pcap pcap_in{sockaddr_in{}, sockaddr_in{}}; // a file has no address
    const codec_decoder_ptr decoder;                    // of a file that a mix hears
};

} // namespace vocalink
