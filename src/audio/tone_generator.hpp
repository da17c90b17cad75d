// SPDX-License-Identifier: GPL-3.0-or-later
// Generation of signalling tones.
#pragma once

#include "util/c_handle.hpp"

#include <string>

#include <spandsp.h>

namespace vocalink {

/** The signalling systems of a tone stream. */
enum ToneType : int {
    BELLMF = 0, // Bell MF (MFR1)
    R2MF = 1,   // R2 MF, forward signals
    DTMF = 2,   // ITU-T Q.23
};

using bell_mf_tx_ptr = util::c_handle<bell_mf_tx_state_t, bell_mf_tx_free>;
using r2_mf_tx_ptr = util::c_handle<r2_mf_tx_state_t, r2_mf_tx_free>;
using dtmf_tx_ptr = util::c_handle<dtmf_tx_state_t, dtmf_tx_free>;

/** Turns queued digits into 16-bit samples at 8 kHz. Belongs to its stream; loop thread only. */
class tone_generator {
  public:
    /** @throws stream_exception when the state cannot be made */
    explicit tone_generator(ToneType type);

    /** Queues digits. R2 MF sends the last one only, until another comes. Digits that do not fit, or
     *  that the signalling system does not have, are left out. */
    void put(const std::string& digits);

    /** Generates the next samples. @return how many, at most max_samples; 0 when nothing is queued
     */
    int generate(short* out, int max_samples);

    /** Level of the low tone in dBm0 and how much louder the high one is in dB; DTMF only. */
    void set_level(int level, int twist);

    /** Length of tones and pauses in ms; DTMF only. */
    void set_timing(int on_time, int off_time);

  private:
    // The one of the type is set.
    bell_mf_tx_ptr bell_mf;
    r2_mf_tx_ptr r2_mf;
    dtmf_tx_ptr dtmf;
};

} // namespace vocalink
