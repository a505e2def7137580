#pragma once

#include <vector>

/// A filter of the second order; corners and centres in hertz.
class Filter {
 public:
  static Filter lowPass(double corner, double sampleRate);
  static Filter highPass(double corner, double sampleRate);       // first order
  static Filter gentleLowPass(double corner, double sampleRate);  // first order
  static Filter allPass(double corner, double sampleRate);        // first order
  static Filter peak(double centre, double gainDb, double quality, double sampleRate);
  static Filter bandPass(double centre, double quality, double sampleRate);

  float next(float sample) {
    const double in = sample;
    const double out = b0 * in + z1;
    z1 = b1 * in - a1 * out + z2;
    z2 = b2 * in - a2 * out;
    return static_cast<float>(out);
  }

  void apply(std::vector<float>& samples);

 private:
  double b0 = 1.0;
  double b1 = 0.0;
  double b2 = 0.0;
  double a1 = 0.0;
  double a2 = 0.0;
  double z1 = 0.0;
  double z2 = 0.0;
};
