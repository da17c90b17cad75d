// SPDX-License-Identifier: GPL-3.0-or-later
// Generation of signalling tones.
#include "audio/tone_generator.hpp"

#include "base/exceptions.hpp"

namespace vocalink {

tone_generator::tone_generator(ToneType type) {
    constexpr int forward = 1;
    switch (type) {
    case BELLMF:
        bell_mf.reset(bell_mf_tx_init(nullptr));
        break;
    case R2MF:
        r2_mf.reset(r2_mf_tx_init(nullptr, forward));
        break;
    case DTMF:
        dtmf.reset(dtmf_tx_init(nullptr));
        break;
    }
    if (!bell_mf && !r2_mf && !dtmf) {
        throw stream_exception("Could not create tone generator");
    }
}

void tone_generator::put(const std::string& digits) {
    const int length = static_cast<int>(digits.size());
    if (bell_mf) {
        bell_mf_tx_put(bell_mf.get(), digits.c_str(), length);
    } else if (dtmf) {
        dtmf_tx_put(dtmf.get(), digits.c_str(), length);
    } else {
        for (const char digit : digits) {
            r2_mf_tx_put(r2_mf.get(), digit);
        }
    }
}

int tone_generator::generate(short* out, int max_samples) {
    if (bell_mf) {
        return bell_mf_tx(bell_mf.get(), out, max_samples);
    }
    if (dtmf) {
        return dtmf_tx(dtmf.get(), out, max_samples);
    }
    return r2_mf_tx(r2_mf.get(), out, max_samples);
}

void tone_generator::set_level(int level, int twist) {
    if (dtmf) {
        dtmf_tx_set_level(dtmf.get(), level, twist);
    }
}

void tone_generator::set_timing(int on_time, int off_time) {
    if (dtmf) {
        dtmf_tx_set_timing(dtmf.get(), on_time, off_time);
    }
}

} // namespace vocalink
