#include "preset/K7_PresetRevisionConverter.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "preset/PresetBank.h"
#include "preset/PresetRecord.h"

namespace {

/// The source bytes from which one destination byte takes its two fields.
struct ByteSource {
  std::size_t switchFrom;
  std::size_t valueFrom;
};

using RecordMapping = std::array<ByteSource, presetSize>;

// Line n makes destination byte n. The comments give the revision-3 keys of switch and value; the
// switches of revision-3 bytes 22 and 23 have no key.
constexpr RecordMapping rev3FromRev1{{
    {7, 0},    // OSC_A_PULSE, FILT_ATK
    {6, 1},    // OSC_A_SAW, FILT_DEC
    {20, 2},   // OSC_A_SYNC, FILT_SUS
    {23, 3},   // OSC_B_SAW, FILT_REL
    {22, 4},   // OSC_B_TRI, AMP_ATK
    {21, 5},   // OSC_B_PULSE, AMP_DEC
    {9, 6},    // OSC_B_KBD, AMP_SUS
    {8, 7},    // UNISON, AMP_REL
    {3, 8},    // POLY-MOD_FREQ_A, FILTER_CUTOFF
    {4, 9},    // POLY-MOD_PW_A, FILT_ENV_AMT
    {5, 10},   // POLY-MOD_FILT, MIX_OSC_B
    {2, 11},   // LFO_SAW, OSC_B_PW
    {12, 12},  // LFO_TRI, MIX_OSC_A
    {13, 13},  // LFO_SQUARE, OSC_A_PW
    {16, 14},  // FILT_KBD, MIX_NOISE
    {17, 15},  // RELEASE, FILT_RESONANCE
    {19, 16},  // W-MOD_FREQ_A, GLIDE
    {10, 20},  // W-MOD_FREQ_B, LFO_FREQ
    {11, 21},  // W-MOD_PW_A, W-MOD_SOURCE_MIX
    {14, 22},  // W-MOD_PW_B, P-MOD_OSC_B
    {15, 23},  // W-MOD_FILT, P-MOD_FILT_ENV
    {18, 18},  // OSC_B_LOW_FREQ, OSC_A_FREQ
    {0, 19},   // no key, OSC_B_FREQ
    {1, 17},   // no key, OSC_B_FINE
}};

constexpr RecordMapping rev1FromRev3{{
    {22, 0},   // no key, FILT_ATK
    {23, 1},   // no key, FILT_DEC
    {11, 2},   // LFO_SAW, FILT_SUS
    {8, 3},    // POLY-MOD_FREQ_A, FILT_REL
    {9, 4},    // POLY-MOD_PW_A, AMP_ATK
    {10, 5},   // POLY-MOD_FILT, AMP_DEC
    {1, 6},    // OSC_A_SAW, AMP_SUS
    {0, 7},    // OSC_A_PULSE, AMP_REL
    {8, 8},    // POLY-MOD_FREQ_A a second time (not UNISON, on purpose), FILTER_CUTOFF
    {6, 9},    // OSC_B_KBD, FILT_ENV_AMT
    {17, 10},  // W-MOD_FREQ_B, MIX_OSC_B
    {18, 11},  // W-MOD_PW_A, OSC_B_PW
    {12, 12},  // LFO_TRI, MIX_OSC_A
    {13, 13},  // LFO_SQUARE, OSC_A_PW
    {19, 14},  // W-MOD_PW_B, MIX_NOISE
    {20, 15},  // W-MOD_FILT, FILT_RESONANCE
    {14, 16},  // FILT_KBD, GLIDE
    {15, 23},  // RELEASE, OSC_B_FINE
    {21, 21},  // OSC_B_LOW_FREQ, OSC_A_FREQ
    {16, 22},  // W-MOD_FREQ_A, OSC_B_FREQ
    {2, 17},   // OSC_A_SYNC, LFO_FREQ
    {5, 18},   // OSC_B_PULSE, W-MOD_SOURCE_MIX
    {4, 19},   // OSC_B_TRI, P-MOD_OSC_B
    {3, 20},   // OSC_B_SAW, P-MOD_FILT_ENV
}};

void rearrangeRecord(const RecordMapping& mapping, const char* source, char* destination) {
  // Reading from a copy lets a record be converted in place.
  std::array<char, presetSize> copy;
  std::copy_n(source, presetSize, copy.begin());
  for (const ByteSource& from : mapping) {
    *destination++ = static_cast<char>((copy[from.switchFrom] & switchMask) |
                                       (copy[from.valueFrom] & valueMask));
  }
}

}  // namespace

void K7_PresetRevisionConverter::convertPresetRev1ToRev3(const char* source, char* destination) {
  rearrangeRecord(rev3FromRev1, source, destination);
}

void K7_PresetRevisionConverter::convertPresetRev3ToRev1(const char* source, char* destination) {
  rearrangeRecord(rev1FromRev3, source, destination);
}

void K7_PresetRevisionConverter::convertBankRev1ToRev3(const char* source, char* destination) {
  for (int i = 0; i < presetCount; ++i) {
    convertPresetRev1ToRev3(source + presetSize * i, destination + presetSize * i);
  }
}

void K7_PresetRevisionConverter::convertBankRev3ToRev1(const char* source, char* destination) {
  for (int i = 0; i < presetCount; ++i) {
    convertPresetRev3ToRev1(source + presetSize * i, destination + presetSize * i);
  }
}
