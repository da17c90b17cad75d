// SPDX-License-Identifier: GPL-3.0-or-later
// G.711 conversion, µ-law and A-law.
#pragma once

namespace vocalink {

/** Encodes linear samples. A byte that would be 0x00 is sent as 0x02.
 *  @param in   samples 16-bit linear samples, host order
 *  @param out  samples bytes */
void linear2ulaw(const short* in, char* out, int samples);

/** Decodes µ-law bytes; the extremes are -32124 and 32124.
 *  @param in   samples bytes
 *  @param out  samples 16-bit linear samples, host order */
void ulaw2linear(const char* in, short* out, int samples);

/** Encodes linear samples as A-law.
 *  @param in   samples 16-bit linear samples, host order
 *  @param out  samples bytes */
void linear2alaw(const short* in, char* out, int samples);

/** Decodes A-law bytes; the extremes are -32256 and 32256.
 *  @param in   samples bytes
 *  @param out  samples 16-bit linear samples, host order */
void alaw2linear(const char* in, short* out, int samples);

} // namespace vocalink
