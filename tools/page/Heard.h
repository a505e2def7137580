#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// Tells what a recording without a dump sounds like, from its first channel.
class Heard {
 public:
  Heard(double sampleRate, int channelCount);

  /// Takes the next frames, interleaved.
  void add(const float* interleaved, std::size_t frames);

  /// The rest of a sentence that begins with "It holds", such as "silence".
  std::string words() const;

 private:
  struct Window {
    float level = 0.0F;      // root mean square, part of full scale
    float frequency = 0.0F;  // hertz, by the upward zero crossings; 0 where these are irregular
  };

  void endWindow();

  double rate;
  std::size_t channels;
  std::size_t windowLength;
  std::vector<Window> windows;  // a tenth of a second each
  std::size_t filled = 0;
  double energy = 0.0;
  float previous = 0.0F;

  // Of the periods between upward zero crossings that end in the window, in samples.
  int periods = 0;
  double sum = 0.0;
  double squares = 0.0;
  double current = 0.0;
};
