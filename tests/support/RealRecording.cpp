#include "support/RealRecording.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "support/Banks.h"
#include "support/Files.h"
#include "support/TapeChain.h"
#include "support/TapeSimulator.h"

namespace {

using Neighbour = TapeChain::Neighbour;
using Kind = TapeChain::Neighbour::Kind;

constexpr double mostFlutterHertz = 95.0;

// Banks

const std::string& exampleBank() {
  static const std::string bank = bankOf(readFile(EXAMPLE_BANK_PATH));
  return bank;
}

PresetBank anyBytes(Random& random) {
  PresetBank bank;
  for (char& byte : bank) {
    byte = static_cast<char>(random.next() >> 56);
  }
  return bank;
}

/// Presets much alike: those of the example in another order, each with some settings changed.
PresetBank presetsAlike(Random& random) {
  PresetBank bank;
  const int originals = 4 + random.below(37);
  for (std::size_t preset = 0; preset < presetCount; ++preset) {
    const auto from = static_cast<std::size_t>(random.below(originals));
    const auto record = bank.begin() + static_cast<std::ptrdiff_t>(presetSize * preset);
    std::copy_n(exampleBank().begin() + static_cast<std::ptrdiff_t>(presetSize * from), presetSize,
                record);
    for (int change = random.below(9); change > 0; --change) {
      record[random.below(presetSize)] ^= static_cast<char>(random.next() >> 57);
    }
    if (random.chance(0.2)) {
      record[random.below(presetSize)] ^= static_cast<char>(0x80);
    }
  }
  return bank;
}

PresetBank drawBank(Random& random, double shareOfRandomOnes) {
  if (random.chance(0.01)) {
    PresetBank bank;
    bank.fill(random.chance(0.5) ? '\x00' : '\xFF');
    return bank;
  }
  return random.chance(shareOfRandomOnes) ? anyBytes(random) : presetsAlike(random);
}

// Single faults

enum class Strength { Mild, Typical, Severe };

/// The value for a strength.
template <typename T>
T pick(Strength strength, T mild, T typical, T severe) {
  return strength == Strength::Mild ? mild : strength == Strength::Typical ? typical : severe;
}

void addDropOuts(TapeChain& chain, Random& random, int count, double shortest, double longest,
                 double shallowest, double deepest) {
  for (int i = 0; i < count; ++i) {
    chain.dropOuts.push_back({.place = random.between(-0.02, 1.0),
                              .duration = random.byRatio(shortest, longest),
                              .depth = random.between(shallowest, deepest),
                              .edges = 0.15});
  }
}

/// The most decibels that an ordinary drop-out takes: a speck lifts the tape off the head far, but
/// for a moment; a crease lasts, but lets something through. What is silent for longer than six
/// zero bits, which last as long as seven ones, nobody can read.
double deepestDropOut(double duration) {
  constexpr double speck = 0.005;   // seconds
  constexpr double crease = 0.045;  // seconds
  const double part = std::clamp(std::log(duration / speck) / std::log(crease / speck), 0.0, 1.0);
  return 45.0 - 33.0 * part;
}

/// Tones of other lengths than the nominal ones.
void varyTones(TapeChain& chain, Random& random, double part) {
  chain.shortSamples += part * random.between(-2.0, 3.0);
  chain.longSamples += part * random.between(-3.0, 3.0);
}

void setBefore(TapeChain& chain, Kind kind, double seconds, double level) {
  chain.before = {{kind, seconds, level}};
}

struct Fault {
  const char* name;
  void (*set)(TapeChain& chain, Random& random, Strength strength);
};

constexpr Fault faults[] = {
    {"tones", [](auto& c, auto& r, auto s) { varyTones(c, r, pick(s, 0.3, 0.6, 1.0)); }},
    {"shape",
     [](auto& c, auto& r, auto s) {
       c.squareness = pick(s, 0.3, 0.6, 1.0);
       c.asymmetry = pick(s, 0.02, 0.08, 0.2) * r.between(-1.0, 1.0);
     }},
    {"speed",
     [](auto& c, auto& r, auto s) {
       const double off = pick(s, 0.02, 0.05, 0.09);
       c.speed = r.chance(0.5) ? 1.0 + off : 1.0 - off;
       c.drift = pick(s, 0.0, 0.01, 0.03) * r.between(-1.0, 1.0);
     }},
    {"wow", [](auto& c, auto&, auto s) { c.wow = pick(s, 0.003, 0.01, 0.03); }},
    {"flutter",
     [](auto& c, auto& r, auto s) {
       c.flutter = pick(s, 0.001, 0.005, 0.02);
       c.flutterHigh = r.between(12.0, mostFlutterHertz);
     }},
    {"run-up",
     [](auto& c, auto& r, auto s) {
       c.runUp = pick(s, 0.1, 0.2, 0.4);
       c.leaderOnes = 150 + r.below(150);
       setBefore(c, Kind::Silence, 0.05, 0.0);
     }},
    {"saturation", [](auto& c, auto&, auto s) { c.saturation = pick(s, 0.2, 0.5, 1.0); }},
    {"bass loss",
     [](auto& c, auto&, auto s) {
       c.lowCut[0] = pick(s, 30.0, 120.0, 2500.0);
       c.lowCut[1] = pick(s, 20.0, 100.0, 180.0);
     }},
    {"treble loss", [](auto& c, auto&, auto s) { c.highCut = pick(s, 7000.0, 3500.0, 2000.0); }},
    {"phase", [](auto& c, auto&, auto s) { c.allPass = pick(s, 3000.0, 1000.0, 400.0); }},
    {"hiss", [](auto& c, auto&, auto s) { c.hiss = pick(s, 35.0, 22.0, 10.0); }},
    {"following noise",
     [](auto& c, auto&, auto s) { c.followingNoise = pick(s, 35.0, 22.0, 12.0); }},
    {"drop-outs",
     [](auto& c, auto& r, auto s) {
       c.hiss = 40.0;
       addDropOuts(c, r, pick(s, 5, 15, 30), pick(s, 0.001, 0.002, 0.005),
                   pick(s, 0.008, 0.02, 0.045), pick(s, 4.0, 10.0, 20.0),
                   pick(s, 12.0, 25.0, 45.0));
     }},
    {"clicks", [](auto& c, auto&, auto s) { c.clicks = pick(s, 5, 30, 200); }},
    {"hum",
     [](auto& c, auto& r, auto s) {
       c.hum = pick(s, -25.0, -12.0, 3.0);
       c.humFrequency = r.chance(0.5) ? 50.0 : 60.0;
     }},
    {"DC", [](auto& c, auto&, auto s) { c.dcOffset = pick(s, 0.05, 0.25, 0.8); }},
    {"level", [](auto& c, auto&, auto s) { c.peak = pick(s, -30.0, -45.0, -70.0); }},
    {"automatic gain",
     [](auto& c, auto& r, auto s) {
       c.automaticGain = true;
       c.hiss = pick(s, 45.0, 35.0, 25.0);
       addDropOuts(c, r, pick(s, 2, 6, 12), 0.05, 0.3, 3.0, pick(s, 6.0, 10.0, 15.0));
     }},
    {"clipping", [](auto& c, auto&, auto s) { c.clip = pick(s, 3.0, 10.0, 30.0); }},
    {"inverted", [](auto& c, auto&, auto) { c.inverted = true; }},
    {"channel",
     [](auto& c, auto& r, auto s) {
       c.hiss = 40.0;
       c.wiring = pick(s, Wiring::FirstWeak, Wiring::FirstDead, Wiring::BothComeAndGo);
       c.wiringStrength = r.between(10.0, 30.0);
     }},
    {"antiphase",
     [](auto& c, auto&, auto s) {
       c.wiring = pick(s, Wiring::SecondLate, Wiring::Antiphase, Wiring::FirstComesAndGoes);
       c.wiringStrength = 12.0;
     }},
    {"rate", [](auto& c, auto&, auto s) { c.sampleRate = pick(s, 48000.0, 96000.0, 22050.0); }},
    {"bits",
     [](auto& c, auto&, auto s) {
       c.bitsPerSample = 8;
       c.peak = pick(s, -6.0, -18.0, -30.0);
     }},
    {"codec",
     [](auto& c, auto&, auto s) {
       c.codecNoise = pick(s, 20.0, 14.0, 8.0);
       c.codecBandwidth = pick(s, 16000.0, 11000.0, 5000.0);
     }},
    {"voice before",
     [](auto& c, auto&, auto s) {
       setBefore(c, Kind::Voice, pick(s, 3.0, 15.0, 60.0), pick(s, 0.3, 1.0, 2.0));
     }},
    {"hiss before",
     [](auto& c, auto&, auto s) {
       setBefore(c, Kind::Hiss, pick(s, 3.0, 10.0, 30.0), pick(s, 0.05, 0.3, 1.0));
     }},
    {"dump before",
     [](auto& c, auto& r, auto s) {
       c.before = {{Kind::DumpsEnd, pick(s, 2.0, 8.0, 20.0)},
                   {Kind::Silence, pick(s, 1.0, 0.2, 0.0)}};
       if (r.chance(0.5)) {
         c.before.front().kind = Kind::DumpsBeginning;
       }
     }},
    {"dump after",
     [](auto& c, auto&, auto s) {
       c.after = {{Kind::Silence, pick(s, 1.0, 0.1, 0.0)}, {Kind::Dump}};
     }},
    {"leader",
     [](auto& c, auto&, auto s) {
       c.leaderOnes = pick(s, 60, 12, 2);
       setBefore(c, Kind::Silence, pick(s, 0.05, 0.005, 0.0), 0.0);
     }},
    {"end",
     [](auto& c, auto&, auto s) {
       c.halfPeriodsAfter = pick(s, 4, 1, 0);
       c.after = {{Kind::Silence, pick(s, 0.01, 0.001, 0.0), 0.0}};
     }},
};

constexpr std::pair<const char*, Strength> strengths[] = {
    {"mild", Strength::Mild}, {"typical", Strength::Typical}, {"severe", Strength::Severe}};

// Mixtures

/// The tape and its player, as old ones are.
void drawTape(TapeChain& chain, Random& random) {
  varyTones(chain, random, random.chance(0.7) ? 0.1 : 1.0);
  chain.squareness = random.chance(0.5) ? 0.0 : random.between(0.1, 1.0);
  chain.asymmetry = 0.05 * static_cast<double>(random.normal());
  chain.leaderOnes = 100 + random.below(600);
  chain.speed = 1.0 + std::clamp(0.03 * static_cast<double>(random.normal()), -0.09, 0.09);
  chain.drift = 0.005 * static_cast<double>(random.normal());
  chain.wow = random.byRatio(0.0005, 0.02);
  chain.flutter = random.byRatio(0.0003, 0.008);
  chain.flutterHigh = random.between(12.0, mostFlutterHertz);
  chain.saturation = random.chance(0.5) ? 0.0 : random.between(0.0, 1.0);
  chain.lowCut[0] = random.chance(0.04) ? 2500.0 : random.byRatio(5.0, 180.0);
  chain.lowCut[1] = random.byRatio(5.0, 180.0);
  chain.highCut = random.byRatio(3500.0, 12000.0);
  chain.bump = random.between(0.0, 4.0);
  chain.bumpFrequency = random.between(50.0, 130.0);
  chain.allPass = random.chance(0.4) ? random.byRatio(400.0, 4000.0) : 0.0;
  chain.hiss = random.between(18.0, 55.0);
  chain.followingNoise = random.chance(0.5) ? random.between(22.0, 45.0) : 1000.0;
  if (random.chance(0.4)) {
    for (auto left = static_cast<int>(random.byRatio(1.0, 30.0)); left > 0; --left) {
      const double duration = random.byRatio(0.001, 0.045);
      chain.dropOuts.push_back({.place = random.between(-0.02, 1.0),
                                .duration = duration,
                                .depth = random.between(4.0, deepestDropOut(duration)),
                                .edges = random.between(0.15, 0.5)});
    }
  }
  if (random.chance(0.2)) {
    chain.clicks = static_cast<int>(random.byRatio(1.0, 20.0));
  }
}

void drawWiring(TapeChain& chain, Random& random) {
  chain.hum = random.chance(0.6) ? random.between(-55.0, -20.0) : -1000.0;
  chain.humFrequency = (random.chance(0.5) ? 50.0 : 60.0) * random.between(0.998, 1.002);
  chain.dcOffset = random.chance(0.3) ? random.between(-0.1, 0.1) : 0.0;
  chain.peak = random.between(-42.0, -1.0);
  chain.automaticGain = random.chance(0.1);
  chain.clip = random.chance(0.1) ? random.between(1.0, 12.0) : 0.0;
  chain.inverted = random.chance(0.5);
  if (random.chance(0.45)) {
    constexpr std::pair<Wiring, double> shares[] = {
        {Wiring::FirstDead, 0.06},         {Wiring::FirstWeak, 0.08},    {Wiring::SecondDead, 0.06},
        {Wiring::SecondWeak, 0.08},        {Wiring::SecondLate, 0.1},    {Wiring::Antiphase, 0.06},
        {Wiring::FirstComesAndGoes, 0.05}, {Wiring::BothComeAndGo, 0.02}};
    chain.wiring = Wiring::Stereo;
    double place = random.between(0.0, 1.0);
    for (const auto& [wiring, share] : shares) {
      if (place >= 0.0 && place < share) {
        chain.wiring = wiring;
      }
      place -= share;
    }
    chain.wiringStrength =
        chain.wiring == Wiring::SecondLate ? random.between(1.0, 20.0) : random.between(6.0, 30.0);
  }
}

/// Returns whether the converter's loader accepts the file.
bool drawFile(TapeChain& chain, Random& random) {
  constexpr double rates[] = {44100.0, 44100.0, 44100.0, 44100.0, 44100.0, 44100.0, 44100.0,
                              48000.0, 48000.0, 48000.0, 22050.0, 32000.0, 96000.0};
  chain.sampleRate = rates[random.below(13)];
  constexpr int widths[] = {16, 16, 16, 16, 16, 16, 24, 24, 8, 0};
  chain.bitsPerSample = widths[random.below(10)];
  if (chain.bitsPerSample == 8) {
    chain.peak = std::max(chain.peak, -24.0);
  }
  if (random.chance(0.25)) {
    // MP3, AAC and Opus leave 11 to 25 dB at 32 kbit/s, and more at higher rates.
    chain.codecNoise = random.between(10.0, 24.0);
    chain.codecBandwidth = random.byRatio(5000.0, 16000.0);
    chain.bitsPerSample = 0;
    return false;
  }
  // Extensible headers, and chunks before the data
  return chain.bitsPerSample != 0 && !random.chance(0.08);
}

void drawSurroundings(TapeChain& chain, Random& random) {
  const Neighbour gap{Kind::Silence, random.between(0.2, 2.0)};
  const double level = random.between(0.1, 1.5);
  const int kind = random.below(13);
  if (kind == 0 || kind == 1) {
    chain.before = {{Kind::Voice, random.byRatio(2.0, 40.0), level}, gap};
  } else if (kind == 2) {
    chain.before = {{Kind::Hiss, random.byRatio(0.5, 8.0), 0.5 * level}, gap};
  } else if (kind == 3) {
    chain.before = {{Kind::DumpsEnd, random.byRatio(0.5, 25.0)}, gap};
  } else if (kind == 4) {
    chain.before = {{Kind::DumpsBeginning, random.byRatio(1.5, 25.0)}, gap};
  } else if (kind == 5) {
    chain.before = {{Kind::Music, random.byRatio(2.0, 20.0), level}, gap};
  } else if (kind == 6) {
    chain.before = {{Kind::Silence, random.between(0.0, 0.05)}};
    chain.leaderOnes = random.below(30);
  } else if (kind == 7) {
    chain.before = {{Kind::Silence, random.between(0.0, 0.1)}};
    chain.runUp = random.between(0.1, 0.25);
  } else {
    chain.before = {{Kind::Silence, random.between(0.1, 4.0)}};
  }
  const Neighbour pause{Kind::Silence, random.between(0.05, 1.5)};
  const int follower = random.below(10);
  if (follower == 0) {
    chain.after = {pause, {Kind::Dump}};
  } else if (follower == 1) {
    chain.after = {pause, {Kind::Voice, random.byRatio(2.0, 20.0), level}};
  } else if (follower == 2) {
    chain.after = {pause, {Kind::DumpsBeginning, random.byRatio(1.5, 25.0)}};
  } else if (follower == 3) {
    chain.after = {{Kind::Silence, 0.0005}};
    chain.halfPeriodsAfter = random.below(2);
  } else {
    chain.after = {{Kind::Silence, random.between(0.1, 3.0)}};
  }
}

void drawDamage(TapeChain& chain, Random& random) {
  const int kind = random.below(6);
  if (kind <= 2) {
    addDropOuts(chain, random, 12 + random.below(48), 0.04, 0.12, 10.0, 60.0);
  }
  if (kind >= 2 && kind <= 4) {
    chain.hum = random.between(-3.0, 15.0);
    chain.peak = std::min(chain.peak, -18.0);
  }
  if (kind == 3 || kind == 5) {
    chain.hiss = random.between(4.0, 15.0);
    chain.followingNoise = random.between(8.0, 18.0);
  }
  if (random.chance(0.2)) {
    chain.clicks = 50 + random.below(500);
  }
  if (random.chance(0.2)) {
    chain.flutter = random.byRatio(0.01, 0.04);
  }
  if (random.chance(0.1)) {
    chain.highCut = random.byRatio(1500.0, 3000.0);
  }
}

void drawMissingParts(TapeChain& chain, Random& random) {
  const int kind = random.below(10);
  if (kind < 6 || kind == 9) {
    chain.missingAfter = random.between(0.005, 20.0);
    chain.halfPeriodsAfter = 0;
  }
  // What follows is either silence or the end of the recording.
  chain.after = {{Kind::Silence, random.chance(0.5) ? 0.0 : 1.0}};
  if (kind >= 6) {
    chain.missingBefore = random.between(0.005, 10.0);
    chain.missingAfter = std::min(chain.missingAfter, 8.0);
    chain.before = {{Kind::Silence, random.chance(0.5) ? 0.0 : 0.5}};
    chain.after = {{Kind::Silence, 1.0}};
  }
}

std::string describe(const TapeChain& chain, bool isPlainWav) {
  char text[600];
  std::snprintf(
      text, sizeof text,
      "%s%g Hz %d bits, wiring %d (%.0f), tones %.1f/%.1f square %.2f asymmetry %+.2f, leader %d, "
      "speed %.3f drift %+.3f wow %.4f flutter %.4f to %.0f Hz run-up %.2f, saturation %.2f, "
      "low cuts %.0f %.0f high cut %.0f all-pass %.0f, hiss %.0f following %.0f, %zu drop-outs, "
      "%d clicks, hum %.0f at %.1f, DC %+.2f, peak %.0f, gain %d clip %.0f inverted %d, "
      "codec %.0f, before %d (%.2f s), after %d (%.2f s), missing %.2f %.2f",
      isPlainWav ? "" : "no plain WAV, ", chain.sampleRate, chain.bitsPerSample,
      static_cast<int>(chain.wiring), chain.wiringStrength, chain.shortSamples, chain.longSamples,
      chain.squareness, chain.asymmetry, chain.leaderOnes, chain.speed, chain.drift, chain.wow,
      chain.flutter, chain.flutterHigh, chain.runUp, chain.saturation, chain.lowCut[0],
      chain.lowCut[1], chain.highCut, chain.allPass, chain.hiss, chain.followingNoise,
      chain.dropOuts.size(), chain.clicks, chain.hum, chain.humFrequency, chain.dcOffset,
      chain.peak, chain.automaticGain ? 1 : 0, chain.clip, chain.inverted ? 1 : 0, chain.codecNoise,
      static_cast<int>(chain.before.front().kind), chain.before.front().seconds,
      static_cast<int>(chain.after.back().kind), chain.after.back().seconds, chain.missingBefore,
      chain.missingAfter);
  return text;
}

RealRecording recordDrawn(const TapeChain& chain, bool isPlainWav, double shareOfRandomBanks,
                          Random& bankRandom, Random& random) {
  const PresetBank bank = drawBank(bankRandom, shareOfRandomBanks);
  const PresetBank otherBank = drawBank(random, shareOfRandomBanks);
  RealRecording recording = recordThrough(chain, bank, otherBank, random);
  recording.isPlainWav = isPlainWav;
  recording.faults = describe(chain, isPlainWav);
  return recording;
}

RealRecording makeOld(bool isDamaged, Random& bankRandom, Random& random) {
  TapeChain chain;
  drawTape(chain, random);
  drawWiring(chain, random);
  const bool isPlainWav = drawFile(chain, random);
  drawSurroundings(chain, random);
  if (isDamaged) {
    drawDamage(chain, random);
  }
  return recordDrawn(chain, isPlainWav, isDamaged ? 0.6 : 0.25, bankRandom, random);
}

RealRecording makeIncomplete(Random& bankRandom, Random& random) {
  TapeChain chain;
  drawTape(chain, random);
  if (random.chance(0.5)) {  // otherwise all is well but for what is missing
    drawWiring(chain, random);
  } else {
    chain.dropOuts.clear();
    chain.clicks = 0;
    chain.hiss = 45.0;
  }
  drawMissingParts(chain, random);
  return recordDrawn(chain, true, 0.25, bankRandom, random);
}

/// The signals of the converter's own tests, one of their kinds at a time, drawn from the range in
/// which it reads them.
RealRecording makeGrid(Random& bankRandom, Random& random) {
  TapeConditions conditions{.inverted = random.chance(0.3)};
  int leader = random.chance(0.5) ? 20 : 11 + random.below(300);
  std::size_t cutOff = 0;
  int bits = 16;
  double flutter = 0.0;
  double sampleRate = 44100.0;
  const bool isSquare = random.chance(0.3);
  conditions.shape = isSquare ? WaveShape::Square : WaveShape::Sine;
  conditions.noiseSeed = static_cast<std::uint32_t>(random.next());
  const int kind = random.below(16);
  if (kind == 0) {
    conditions.speed = random.between(0.858, 1.198);
  } else if (kind == 1) {
    sampleRate = random.chance(0.5) ? 48000.0 : 38000.0;
    conditions.speed = random.between(0.935, 1.03) * 44100.0 / sampleRate;
  } else if (kind == 2) {
    conditions.wowDepth = random.between(0.0, 0.14);
  } else if (kind == 3) {
    conditions.flutterDepth = random.between(0.0, 0.13);
    conditions.flutterFrequency = random.between(5.0, 30.0);
  } else if (kind == 4 || kind == 5) {
    flutter = random.between(0.005, 0.03);
  } else if (kind == 6) {
    conditions.dcOffset = random.between(-1.0, 1.0) * (isSquare ? 0.78 : 0.2);
  } else if (kind == 7) {
    conditions.hum = isSquare ? 0.78 : 0.2;
    conditions.humFrequency = random.chance(0.5) ? 50.0 : 60.0;
  } else if (kind == 8) {
    conditions.noise = random.between(0.0, isSquare ? 0.15 : 0.055);
  } else if (kind == 9) {
    conditions.level = random.byRatio(isSquare ? 0.6 : 2.0, 50.0) / 32767.0;
  } else if (kind == 10) {
    if (random.chance(0.5)) {
      conditions.lowCut = random.byRatio(20.0, 320.0);
    } else {
      conditions.highCut = random.byRatio(isSquare ? 480.0 : 360.0, 8000.0);
    }
  } else if (kind == 11) {
    bits = random.chance(0.5) ? 8 : 24;
    conditions.level = bits == 8 ? random.byRatio(0.02, 1.0) : random.byRatio(1e-6, 1.0);
  } else if (kind == 12) {
    conditions.dropOutStart = random.between(0.4, 20.0);
    conditions.dropOutDuration = random.between(0.0, 0.2);
    conditions.dropOutLevel = random.byRatio(0.0001, 0.5);
  } else if (kind == 13) {
    leader = 11 + random.below(3);
    conditions.silence = random.between(0.0, 0.3);
    cutOff = static_cast<std::size_t>(random.below(5));
    conditions.noiseInSilence = random.chance(0.5) ? 0.001 : 0.0;
  } else if (kind == 14) {
    conditions.clickStart = random.between(0.4, 20.0);
    conditions.clickDuration = random.between(1.0, 9.0) / 44100.0;
  } else {
    conditions.speed = random.between(0.9, 1.13);
    conditions.wowDepth = 0.002;
    conditions.flutterDepth = 0.001;
    conditions.level = 0.5;
    conditions.lowCut = 30.0;
    conditions.highCut = 10000.0;
    conditions.noise = random.between(0.0, 0.025);
    conditions.hum = 0.02;
    conditions.dcOffset = 0.01;
  }

  const int bankKind = bankRandom.below(6);
  PresetBank bank = bankKind < 2 ? presetsAlike(bankRandom) : anyBytes(bankRandom);
  if (bankKind >= 4) {
    bank.fill(bankKind == 4 ? '\x00' : '\xFF');
  }
  HalfPeriods signal = dumpSignal({bank.data(), bank.size()}, leader);
  RealRecording recording{.sampleRate = sampleRate, .bitsPerSample = bits, .mainDump = 0};
  if (flutter > 0.0) {
    const TapeChain chain{.leaderOnes = leader,
                          .flutter = flutter,
                          .flutterLow = 9.0,
                          .flutterHigh = mostFlutterHertz,
                          .peak = -2.0,
                          .inverted = conditions.inverted};
    recording = recordThrough(chain, bank, bank, random);
  } else {
    signal.resize(signal.size() - cutOff);
    recording.samples = recordTape(signal, conditions);
    const auto steps = static_cast<float>((1 << (bits - 1)) - 1);
    for (float& sample : recording.samples) {
      // Halves go away from zero, in `recordThrough` to the even step: 24 bits have many of them,
      // and each seed stays the recording that was measured.
      sample = std::round(sample * steps) / steps;
    }
    const double end = static_cast<double>(recording.samples.size()) / sampleRate;
    // The speed decides when the data begin; it is after the silence.
    recording.dumps.push_back({.bank = bank, .start = conditions.silence, .end = end});
    recording.dumps.front().isRecorded.fill(true);
  }
  char text[200];
  std::snprintf(text, sizeof text,
                "grid %d: bank %d, %s, %g Hz %d bits, leader %d, cut off %zu, inverted %d", kind,
                bankKind, isSquare ? "square" : "sine", sampleRate, bits, leader, cutOff,
                conditions.inverted ? 1 : 0);
  recording.faults = text;
  return recording;
}

constexpr double soundSeconds = 60.0;

RealRecording recordSound(Samples samples, Random& random, const std::string& what) {
  const auto level = static_cast<float>(random.byRatio(0.01, 1.0));
  for (float& sample : samples) {
    sample *= level;
  }
  return {.samples = std::move(samples), .faults = what};
}

struct Mixture {
  const char* name;
  RealRecording (*make)(Random& bankRandom, Random& random);
};

constexpr Mixture mixtures[] = {
    {"typical", [](auto& b, auto& r) { return makeOld(false, b, r); }},
    {"severe", [](auto& b, auto& r) { return makeOld(true, b, r); }},
    {"grid", makeGrid},
    {"incomplete", makeIncomplete},
    {"voice",
     [](auto&, auto& r) { return recordSound(voice(r, soundSeconds, 44100.0), r, "voice"); }},
    {"music",
     [](auto&, auto& r) { return recordSound(music(r, soundSeconds, 44100.0), r, "music"); }},
    {"noise",
     [](auto&, auto& r) { return recordSound(noise(r, soundSeconds, 44100.0), r, "noise"); }},
    {"modem",
     [](auto&, auto& r) {
       const Modem& kind = modems[r.below(std::size(modems))];
       return recordSound(modem(r, kind, soundSeconds, 44100.0), r, kind.name);
     }},
};

RealRecording makeFaulty(const Fault& fault, Strength strength, Random& bankRandom,
                         Random& random) {
  TapeChain chain{.wow = 0.001, .flutter = 0.0005, .highCut = 12000.0, .hiss = 50.0};
  fault.set(chain, random, strength);
  return recordDrawn(chain, true, 0.25, bankRandom, random);
}

}  // namespace

bool RecordedDump::isComplete() const {
  return std::all_of(isRecorded.begin(), isRecorded.end(), [](bool is) { return is; });
}

std::vector<float> RealRecording::firstChannel() const {
  std::vector<float> first;
  for (std::size_t i = 0; i < samples.size(); i += static_cast<std::size_t>(channels)) {
    // The converter takes the bytes of eight bits for signed, which turns them upside down.
    first.push_back(bitsPerSample == 8 ? -samples[i] : samples[i]);
  }
  return first;
}

std::vector<std::string> mixtureNames() {
  std::vector<std::string> names;
  for (const Mixture& mixture : mixtures) {
    names.emplace_back(mixture.name);
  }
  for (const Fault& fault : faults) {
    for (const auto& strength : strengths) {
      names.push_back(std::string(fault.name) + "-" + strength.first);
    }
  }
  return names;
}

RealRecording makeRecording(std::string_view name, std::uint32_t seed, int take) {
  Random bankRandom(seed);
  Random random((std::uint64_t{seed} << 8 | static_cast<std::uint64_t>(take)) + (1ULL << 48));
  for (const Mixture& mixture : mixtures) {
    if (name == mixture.name) {
      return mixture.make(bankRandom, random);
    }
  }
  for (const Fault& fault : faults) {
    for (const auto& [strengthName, strength] : strengths) {
      if (name == std::string(fault.name) + "-" + strengthName) {
        return makeFaulty(fault, strength, bankRandom, random);
      }
    }
  }
  throw std::invalid_argument("no mixture \"" + std::string(name) + "\"");
}
