#pragma once

#include <optional>
#include <vector>

namespace recovery {

/// How fast the tape ran, as the length of a short half-period against time.
class SpeedTrack {
 public:
  /// Measures `samples`, levelled and without bass, at `sampleRate` a second. Nothing where no tone
  /// is found.
  static std::optional<SpeedTrack> measure(const std::vector<float>& samples, double sampleRate);

  /// Lets the speed at `time`, in seconds, hold after it: what follows is no tape's.
  void holdAfter(double time);

  /// The length of a short half-period around `time`, in seconds; `time` in seconds from the first
  /// sample.
  double shortHalfPeriod(double time) const;

  /// Lengths of the long half-periods against the short ones; about 3.5.
  double ratio() const { return longToShort; }

  /// Seconds from one moment of the track to the next.
  static constexpr double hop = 0.025;

  /// The length of a short half-period at each moment, in seconds; the first is that of sample 0.
  const std::vector<double>& lengths() const { return shortLengths; }

 private:
  SpeedTrack() = default;

  std::vector<double> shortLengths;  // one for each hop, at least one
  double longToShort = 3.5;
};

}  // namespace recovery
