#pragma once

#include <vector>

#include "support/Random.h"

// Sounds that are no dump, some `seconds` of them with peaks of at most about 1.

using Samples = std::vector<float>;

/// Syllables of vowels and hisses at the pitch of a voice, with pauses.
Samples voice(Random& random, double seconds, double sampleRate);

/// Chords, glides and drums.
Samples music(Random& random, double seconds, double sampleRate);

/// White, band-limited, crackling or swelling noise, or a hum.
Samples noise(Random& random, double seconds, double sampleRate);

/// Hiss that reaches up to `corner` hertz only.
Samples hiss(Random& random, double seconds, double sampleRate, double corner);

/// Two tones that alternate at random, `baud` times a second at most, with steady phase.
struct Modem {
  const char* name;
  double baud;
  double zeroTone;  // hertz
  double oneTone;   // hertz
};
inline constexpr Modem modems[] = {
    {"packet radio", 1200.0, 2200.0, 1200.0},         {"telephone, calling", 300.0, 1070.0, 1270.0},
    {"telephone, answering", 300.0, 2025.0, 2225.0},  {"cassette, 300 baud", 300.0, 1200.0, 2400.0},
    {"cassette, 1,200 baud", 1200.0, 1200.0, 2400.0}, {"teletype", 45.45, 2295.0, 2125.0},
    {"cassette of other tones", 600.0, 900.0, 1800.0}};

Samples modem(Random& random, const Modem& kind, double seconds, double sampleRate);
