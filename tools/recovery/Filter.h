#pragma once

#include <cstddef>
#include <vector>

namespace recovery {

/// A recursive filter of the second order.
class Biquad {
 public:
  /// Butterworth filters with their corner, in hertz, for `sampleRate` samples a second. A corner
  /// beyond the reach of the rate is moved to it.
  static Biquad lowPass(double corner, double sampleRate);
  static Biquad highPass(double corner, double sampleRate);

  float next(float sample) {
    const auto input = static_cast<double>(sample);
    const double output = b0 * input + first;
    first = b1 * input - a1 * output + second;
    second = b2 * input - a2 * output;
    return static_cast<float>(output);
  }

  /// Filters all of `samples` in place, from the state that earlier samples left.
  void run(std::vector<float>& samples);

 private:
  double b0 = 1.0, b1 = 0.0, b2 = 0.0, a1 = 0.0, a2 = 0.0;
  double first = 0.0, second = 0.0;
};

/// A band of frequencies, in hertz.
struct Band {
  double from = 0.0;
  double to = 0.0;
};

/// Where the tones of zeros and of ones lie, at any speed that a tape may have.
inline constexpr Band lowTone{330.0, 850.0};
inline constexpr Band highTone{1050.0, 3000.0};

/// What `samples` hold of a band.
std::vector<float> bandOf(const std::vector<float>& samples, Band band, double sampleRate);

/// The sum of the squares.
double energyOf(const std::vector<float>& samples);

/// The mean square of the samples up to `reach` to either side of each.
std::vector<double> meanSquares(const std::vector<float>& samples, std::size_t reach);

/// The root of `factor` times the mean square around each sample: 1.0 gives the root mean square,
/// 2.0 the height of a sine as loud.
std::vector<float> levelsAround(const std::vector<float>& samples, std::size_t reach,
                                double factor);

/// Takes away what lies below the tones (DC, hum, rumble), without a shift of phase.
void removeBass(std::vector<float>& samples, double sampleRate);

/// Turns a differentiated signal, of which the low tone is hardly left, back into what it was.
/// Leaves any other alone.
void restoreBass(std::vector<float>& samples, double sampleRate);

/// Divides `samples` by the level of the tones, the median over 0.6 s, so that their peaks are near
/// 1.0, and limits clicks. Where the signal is much weaker than in the rest it stays so.
void evenLevel(std::vector<float>& samples, double sampleRate);

}  // namespace recovery
