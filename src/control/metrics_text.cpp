// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon's figures as Prometheus reads them.
#include "control/metrics_text.hpp"

#include "base/program_info.hpp"
#include "util/text.hpp"

#include <concepts>
#include <initializer_list>

namespace vocalink {

namespace {

/** A label and its value. */
using label = std::pair<std::string_view, std::string_view>;
using labels = std::initializer_list<label>;

std::string escaped(std::string_view value) {
    std::string text;
    for (const char c : value) {
        if (c == '\n') {
            text += "\\n";
            continue;
        }
        if (c == '\\' || c == '"') {
            text += '\\';
        }
        text += c;
    }
    return text;
}

/** Puts families and their samples together. */
class exposition {
  public:
    explicit exposition(std::string_view socket)
        : every_sample("socket=\"" + escaped(socket) + "\"") {}

    /** Begins a family of that name; what is added next belongs to it. */
    exposition& family(std::string_view name, std::string_view type, std::string_view help) {
        present = name;
        text.append("# HELP ").append(name).append(" ").append(help).append("\n");
        text.append("# TYPE ").append(name).append(" ").append(type).append("\n");
        return *this;
    }

    template <std::integral Number>
    exposition& add(Number value, labels own = {}, std::string_view suffix = {}) {
        return sample(std::to_string(value), own, suffix);
    }
    exposition& add(double value, labels own = {}, std::string_view suffix = {}) {
        return sample(util::format("%.15g", value), own, suffix);
    }

    std::string text;

  private:
    exposition& sample(const std::string& value, labels own, std::string_view suffix) {
        text.append(present).append(suffix).append("{").append(every_sample);
        for (const auto& [name, content] : own) {
            text.append(",").append(name).append("=\"").append(content).append("\"");
        }
        text.append("} ").append(value).append("\n");
        return *this;
    }

    const std::string every_sample; // the label of all
    std::string_view present;       // the family
};

void add_process(exposition& out, const metrics_snapshot& figures) {
    out.family("vocalink_build_info", "gauge", "The daemon's version; always 1.")
        .add(1, {{"version", program_version}});
    out.family("vocalink_start_time_seconds", "gauge", "When the daemon started, since 1970.")
        .add(figures.start_time_s);
    out.family("vocalink_connections", "gauge", "Controllers that are connected.")
        .add(figures.connections);
    const auto& count = figures.commands;
    out.family("vocalink_commands_total", "counter", "Commands, by what their reply was.")
        .add(count[outcome_success], {{"result", "success"}})
        .add(count[outcome_refused], {{"result", "refused"}})
        .add(count[outcome_command_error], {{"result", "command_error"}})
        .add(count[outcome_stream_error], {{"result", "stream_error"}})
        .add(count[outcome_bridge_error], {{"result", "bridge_error"}});
    out.family("vocalink_dropped_notices_total", "counter",
               "Notices that controllers did not get because they did not read.")
        .add(figures.dropped_notices);
    out.family("vocalink_dropped_log_lines_total", "counter",
               "Log lines that standard error did not take.")
        .add(figures.dropped_log_lines);
}

void add_objects(exposition& out, const metrics_snapshot& figures) {
    out.family("vocalink_streams", "gauge", "Streams, by kind and codec.");
    for (const auto& [words, number] : figures.streams) {
        out.add(number, {{"kind", words.first}, {"codec", words.second}});
    }
    out.family("vocalink_bridges", "gauge", "Bridges, by kind and by how audio moves in them.");
    for (const auto& [words, number] : figures.bridges) {
        out.add(number, {{"kind", words.first}, {"mode", words.second}});
    }
}

void add_packets(exposition& out, const rtp_figures& rtp) {
    const auto counter = [&](std::string_view name, std::string_view help, rtp_figure figure) {
        out.family(name, "counter", help).add(rtp[figure]);
    };
    counter("vocalink_rtp_received_packets_total", "Datagrams read by RTP streams.",
            received_packets);
    counter("vocalink_rtp_received_bytes_total", "Bytes of the datagrams read.", received_bytes);
    counter("vocalink_rtp_sent_packets_total", "RTP packets sent.", sent_packets);
    counter("vocalink_rtp_sent_bytes_total", "Bytes of the packets sent.", sent_bytes);
    counter("vocalink_rtp_receive_errors_total", "Reads that the system refused.", receive_errors);
    counter("vocalink_rtp_send_errors_total", "Packets that the system refused to send.",
            send_errors);
    counter("vocalink_rtp_lost_packets_total", "RTP packets that were expected and did not come.",
            lost_packets);
    counter("vocalink_rtp_late_packets_total",
            "Packets of conference members that came after their turn.", late_packets);
    counter("vocalink_rtp_duplicate_packets_total", "RTP packets that came again.",
            duplicate_packets);
    out.family("vocalink_rtp_concealed_seconds_total", "counter",
               "Audio of conference members that was made up in place of what was missing.")
        .add(static_cast<double>(rtp[concealed_ms]) / 1000.0);
    out.family("vocalink_rtp_refused_packets_total", "counter",
               "Datagrams that were read and not heard, by reason.")
        .add(rtp[refused_not_rtp], {{"reason", "not_rtp"}})
        .add(rtp[refused_unknown_type], {{"reason", "unknown_payload_type"}})
        .add(rtp[refused_wrong_size], {{"reason", "wrong_size"}});
    out.family("vocalink_srtp_failures_total", "counter",
               "Packets that could not be decrypted or encrypted.")
        .add(rtp[unprotect_failures], {{"operation", "decrypt"}})
        .add(rtp[protect_failures], {{"operation", "encrypt"}});
}

void add_recordings(exposition& out, const writer_figures& writer, const mover_figures& mover) {
    out.family("vocalink_recordings", "gauge", "Recordings that are running.").add(writer.running);
    out.family("vocalink_recording_waiting_bytes", "gauge",
               "Data that waits for the file writer, and in files that wait for the mover.")
        .add(writer.waiting_bytes, {{"worker", "writer"}})
        .add(mover.waiting_bytes, {{"worker", "mover"}});
    out.family("vocalink_recording_waiting_files", "gauge",
               "Ended recordings that wait to be closed by the writer or moved by the mover.")
        .add(writer.ended, {{"worker", "writer"}})
        .add(mover.waiting_files, {{"worker", "mover"}});
    out.family("vocalink_recording_lost_records_total", "counter",
               "Packets or frames missing from recordings, by reason.")
        .add(writer.refused, {{"reason", "writer_behind"}})
        .add(writer.failed_to_write, {{"reason", "write_failed"}});
    out.family("vocalink_recording_failed_moves_total", "counter",
               "Recordings that stayed in the work directory.")
        .add(mover.failed);
}

void add_loop(exposition& out, const util::lag_figures& lag) {
    out.family("vocalink_loop_lag_seconds", "summary",
               "How late the event loop served a timer, quantiles since the file before.")
        .add(lag.p99_s, {{"quantile", "0.99"}})
        .add(lag.longest_s, {{"quantile", "1"}})
        .add(lag.lateness_s, {}, "_sum")
        .add(lag.moments, {}, "_count");
    out.family("vocalink_loop_longest_turn_seconds", "gauge",
               "Longest time without looking for packets, since the file before.")
        .add(lag.longest_turn_s);
    out.family("vocalink_loop_busy_seconds_total", "counter",
               "Time in which the event loop did not wait.")
        .add(lag.busy_s);
}

} // namespace

std::string metrics_text(const metrics_snapshot& figures, std::string_view socket) {
    exposition out(socket);
    add_process(out, figures);
    add_objects(out, figures);
    add_packets(out, figures.rtp);
    add_recordings(out, figures.writer, figures.mover);
    add_loop(out, figures.lag);
    return std::move(out.text);
}

} // namespace vocalink
