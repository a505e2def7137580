#include "recovery/HalfPeriods.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "recovery/Crossing.h"
#include "signal/Tones.h"

namespace recovery {

namespace {

// Against the length of a short half-period at the moment's speed; long ones against its multiple.
constexpr double shortestShort = 0.45;
constexpr double longestShort = 1.7;
constexpr double shortestLong = 0.62;
constexpr double longestLong = 1.5;

constexpr float hysteresis = 0.12F;  // part of the tones' peak
constexpr float lowestPeak = 0.35F;  // below which a half-period is too weak to be trusted
constexpr float silentPeak = 0.2F;   // below which there is no tone
constexpr double silentSeconds = 0.004;

constexpr std::size_t fewestOfLeader = static_cast<std::size_t>(100 * shortsPerOneBit);

enum class Kind { Short, Long, Odd, Silence };

struct HalfPeriod {
  double start;
  double end;
  Kind kind;
};

/// Cuts the signal where it crosses zero and classes each piece.
class Cutter {
 public:
  Cutter(const std::vector<float>& signal, double sampleRate, const SpeedTrack& speedTrack)
      : samples(signal), rate(sampleRate), track(speedTrack) {}

  std::vector<HalfPeriod> cut() {
    for (std::size_t i = 1; i < samples.size(); ++i) {
      const float sample = samples[i];
      if ((samples[i - 1] > 0.0F) != (sample > 0.0F)) {
        lastCrossing =
            (static_cast<double>(i) - 1.0 + crossingBetween(samples[i - 1], sample)) / rate;
      }
      const bool flips = isPositive ? sample < -hysteresis : sample > hysteresis;
      if (flips) {
        close(lastCrossing);
        isPositive = !isPositive;
      }
      peak = std::max(peak, std::abs(sample));
      const double now = static_cast<double>(i) / rate;
      if (now - start > silentSeconds && peak < lowestPeak) {
        append({start, now, Kind::Silence});
        start = now;
        peak = 0.0F;
      }
    }
    close(static_cast<double>(samples.size()) / rate);
    return std::move(halfPeriods);
  }

 private:
  void close(double end) {
    append({start, end, kindOf(end - start, start)});
    start = end;
    peak = 0.0F;
  }

  void append(const HalfPeriod& piece) {
    if (piece.kind == Kind::Silence && !halfPeriods.empty() &&
        halfPeriods.back().kind == Kind::Silence) {
      halfPeriods.back().end = piece.end;
    } else {
      halfPeriods.push_back(piece);
    }
  }

  Kind kindOf(double length, double time) const {
    if (peak < silentPeak) {
      return Kind::Silence;
    }
    const double shorts = length / track.shortHalfPeriod(time);
    const double longs = shorts / track.ratio();
    if (peak >= lowestPeak && shorts >= shortestShort && shorts <= longestShort) {
      return Kind::Short;
    }
    if (peak >= lowestPeak && longs >= shortestLong && longs <= longestLong) {
      return Kind::Long;
    }
    return Kind::Odd;
  }

  const std::vector<float>& samples;
  double rate;
  const SpeedTrack& track;
  std::vector<HalfPeriod> halfPeriods;
  bool isPositive = false;
  double start = 0.0;
  double lastCrossing = 0.0;
  float peak = 0.0F;
};

/// Joins half-periods to bits, chain by chain.
class Joiner {
 public:
  void add(const HalfPeriod& piece) {
    if (piece.kind == Kind::Odd || piece.kind == Kind::Silence) {
      endChain(piece.kind == Kind::Silence);
      return;
    }
    if (!run.empty() && run.front().kind != piece.kind) {
      endRun(false);
    }
    run.push_back(piece);
  }

  std::vector<BitChain> finish() {
    endChain(false);
    return std::move(chains);
  }

 private:
  /// Of the kind that the run is of.
  std::size_t halfPeriodsPerBit() const {
    return static_cast<std::size_t>(run.front().kind == Kind::Short ? shortsPerOneBit
                                                                    : longsPerZeroBit);
  }

  /// Makes bits of the run. The first run of a chain may begin within a bit; its last one may end
  /// within one; any other must hold whole bits, or the chain is broken.
  void endRun(bool isLast) {
    const std::size_t perBit = halfPeriodsPerBit();
    const std::size_t rest = run.size() % perBit;
    std::size_t first = 0;
    if (rest != 0 && !isFirstRunDone) {
      first = isLast ? run.size() : rest;
    } else if (rest != 0 && !isLast) {
      if (run.front().kind == Kind::Short && run.size() >= fewestOfLeader) {
        // The data may end in ones just before the leader of another dump.
        addBits(0);
      }
      breakChain();
      isFirstRunDone = true;
      run.clear();
      return;
    }
    addBits(first);
    isFirstRunDone = true;
    run.clear();
  }

  void addBits(std::size_t first) {
    const std::size_t perBit = halfPeriodsPerBit();
    for (std::size_t i = first; i + perBit <= run.size(); i += perBit) {
      chain.bits.push_back(
          {run[i].start, run[i + perBit - 1].end, run.front().kind == Kind::Short});
    }
  }

  void endChain(bool inSilence) {
    if (!run.empty()) {
      const std::size_t perBit = halfPeriodsPerBit();
      if (inSilence && isFirstRunDone && run.size() % perBit == perBit - 1) {
        // No crossing closes the last half-period before silence.
        run.push_back(run.back());
      }
      endRun(true);
    }
    chain.endsInSilence = inSilence;
    breakChain();
    isFirstRunDone = false;
  }

  void breakChain() {
    if (!chain.bits.empty()) {
      chains.push_back(std::move(chain));
    }
    chain = {};
  }

  std::vector<BitChain> chains;
  BitChain chain;
  std::vector<HalfPeriod> run;
  bool isFirstRunDone = false;
};

}  // namespace

std::vector<BitChain> readChains(const std::vector<float>& samples, double sampleRate,
                                 const SpeedTrack& track) {
  Joiner joiner;
  for (const HalfPeriod& piece : Cutter(samples, sampleRate, track).cut()) {
    joiner.add(piece);
  }
  return joiner.finish();
}

}  // namespace recovery
