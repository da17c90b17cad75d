// SPDX-License-Identifier: GPL-3.0-or-later
// Loads on the legs of a server: evenly paced packets, and the account of what comes back.
#pragma once

#include "load/load_socket.hpp"
#include "load/process_figures.hpp"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vocalink::bench {

/** What one round cost its server and what became of its packets. */
struct round_result {
    std::uint64_t sent = 0;
    std::uint64_t sent_late = 0; // by over 10 ms: the generator could not keep up
    std::uint64_t received = 0;
    std::uint64_t lost = 0;    // that did not come back, or by the sequence numbers of what came
    std::uint64_t wrong = 0;   // of the wrong length, content or origin
    std::uint64_t unheard = 0; // legs that got nothing, or only silence at the end
    double seconds = 0;        // of the wall clock
    double cpu_s = 0;          // of the server
    double loop_s = 0;         // of its first thread
    double others = 0;         // processors that other processes used
    std::vector<std::uint32_t> latencies; // nanoseconds, of packets that carry their time

    [[nodiscard]] double cpu_us() const { return 1e6 * cpu_s / static_cast<double>(received); }
    [[nodiscard]] double late_share() const { // in %
        return 100 * static_cast<double>(sent_late) / static_cast<double>(sent);
    }
    [[nodiscard]] double loop_us() const { return 1e6 * loop_s / static_cast<double>(received); }
    /** The latency that this share of the packets did not exceed, in microseconds. */
    [[nodiscard]] double latency_us(double share) const;
};

/** One load on one server. Keeps the calling thread busy for a whole round, so that a packet goes
 *  out at its time and its arrival is seen at once. Rounds follow each other without a gap in the
 *  sequence numbers. */
class traffic {
  public:
    /** @param leg_interval_s  between two packets of a leg; the legs are spread evenly over it; 0
     *                         sends nothing */
    traffic(load_socket& shared, const server& loaded, double leg_interval_s);
    virtual ~traffic() = default;

    [[nodiscard]] round_result run(double seconds);

  protected:
    /** What a leg has got in this round. */
    struct listener {
        std::uint64_t packets = 0;
        std::uint16_t sequence = 0; // of the last packet
        std::uint16_t step = 1;     // from the sequence number before, 1 if none is missing
        std::uint32_t frame = 0;    // place in the sound file
        bool heard = false;
    };

    /** Makes the payload of a packet. @param number  counts over all legs and rounds */
    virtual void fill(std::span<std::uint8_t> payload, std::uint64_t number,
                      std::int64_t now_ns) = 0;

    /** Judges a packet that came for a leg.
     *  @return whether its length, content and origin are right */
    virtual bool take(std::size_t leg, listener& at, std::span<const std::uint8_t> payload) = 0;

    /** Whether every packet of the round is to come back. */
    [[nodiscard]] virtual bool awaits_all() const { return false; }

    const server& target;
    round_result result;              // of the running round
    std::uint64_t first_of_round = 0; // its first packet's number
    std::vector<listener> listeners;  // of the running round

  private:
    void send_due(std::int64_t end_ns);
    void receive();

    load_socket& socket;
    const double interval_ns;              // between two packets of any legs; 0 for never
    std::vector<std::int32_t> leg_of_port; // -1 for none
    std::int64_t start_ns = 0;             // of the running round
    std::uint64_t next_number = 0;         // of packets
};

/** 50 packets a second on each leg, to be taken back from the partner's port. */
class relay_traffic : public traffic {
  public:
    static constexpr double interval_s = 0.020;
    relay_traffic(load_socket& shared, const server& loaded)
        : traffic(shared, loaded, interval_s) {}

  private:
    void fill(std::span<std::uint8_t> payload, std::uint64_t number, std::int64_t now_ns) override;
    bool take(std::size_t leg, listener& at, std::span<const std::uint8_t> payload) override;
    [[nodiscard]] bool awaits_all() const override { return true; }
};

/** One packet of noise from each member every 30 ms, the pace at which conferences are mixed; every
 *  member should hear the others. */
class conference_traffic : public traffic {
  public:
    conference_traffic(load_socket& shared, const server& loaded)
        : conference_traffic(shared, loaded, 0.030, true) {}

  protected:
    conference_traffic(load_socket& shared, const server& loaded, double interval_s, bool to_end);

  private:
    void fill(std::span<std::uint8_t> payload, std::uint64_t number, std::int64_t now_ns) override;
    bool take(std::size_t leg, listener& at, std::span<const std::uint8_t> payload) override;

    const bool heard_to_end;         // for those who hear nobody once nobody speaks any more
    std::vector<std::uint8_t> noise; // µ-law, quiet enough that sums do not saturate
};

/** The same every 20 ms, the pace of telephones and of their conferences. The tick goes on when
 *  nobody speaks any more. */
class telephone_traffic : public conference_traffic {
  public:
    telephone_traffic(load_socket& shared, const server& loaded)
        : conference_traffic(shared, loaded, 0.020, false) {}
};

/** Listens to players of the files that write_sound_files() made; nothing is sent. */
class sound_traffic : public traffic {
  public:
    static constexpr double frame_s = 0.020;
    sound_traffic(load_socket& shared, const server& loaded) : traffic(shared, loaded, 0) {}

  private:
    void fill(std::span<std::uint8_t>, std::uint64_t, std::int64_t) override {}
    bool take(std::size_t leg, listener& at, std::span<const std::uint8_t> payload) override;
};

/** Writes µ-law files of one second each, whose frames know their place.
 *  @return their paths */
[[nodiscard]] std::vector<std::string> write_sound_files(const std::string& directory,
                                                         std::size_t files);

} // namespace vocalink::bench
