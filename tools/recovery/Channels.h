#pragma once

#include <cstddef>
#include <vector>

namespace recovery {

/// Brings one channel, block by block, to about 15,000 samples a second by a whole factor: 11,250
/// to 18,750; a rate below 22,500 stays as it is. All below 0.37 of the new rate is kept: 5.4 kHz
/// for 44,100 samples a second. Samples that are not finite count as 0, very large ones are
/// limited.
class Decimator {
 public:
  /// For input of `sampleRate` samples a second.
  explicit Decimator(double sampleRate);

  /// Samples that lie `stride` floats apart, the caller's.
  struct Input {
    const float* samples;
    std::size_t count;
    std::size_t stride;
  };

  /// Takes the next samples and appends what is ready to `output`. Output sample i stands for the
  /// moment of input sample `factor() * i`.
  void add(const Input& input, std::vector<float>& output);

  /// Appends the samples that wait for input which does not come.
  void finish(std::vector<float>& output);

  int factor() const { return step; }

  /// Output samples a second.
  double outputRate() const { return rate; }

 private:
  void filter(std::vector<float>& output);

  int step = 1;
  double rate = 0.0;
  std::vector<float> taps;     // symmetric, an odd number
  std::vector<float> pending;  // input from `taps.size() / 2` before the next output on
  std::size_t next = 0;        // where in `pending` the window of the next output begins
};

}  // namespace recovery
