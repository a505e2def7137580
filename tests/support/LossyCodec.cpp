#include "support/LossyCodec.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>

namespace {

using Complex = std::complex<float>;

constexpr std::size_t blockSize = 1024;  // samples, twice the number of lines
constexpr std::size_t lines = blockSize / 2;
constexpr double pi = std::numbers::pi;

Complex unit(double angle) {
  return {static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle))};
}

Complex times(Complex a, Complex b) {
  return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

/// The tables of the modified discrete cosine transform with a sine window.
struct Tables {
  std::vector<float> window = std::vector<float>(blockSize);
  std::vector<Complex> before = std::vector<Complex>(blockSize);  // a sample's turn
  std::vector<Complex> after = std::vector<Complex>(blockSize);   // a line's turn
  std::vector<Complex> roots = std::vector<Complex>(blockSize);   // exp(-2 pi i k / size)

  Tables() {
    constexpr double n0 = 0.5 + static_cast<double>(lines) / 2.0;
    for (std::size_t n = 0; n < blockSize; ++n) {
      const auto i = static_cast<double>(n);
      window[n] = static_cast<float>(std::sin(pi * (i + 0.5) / static_cast<double>(blockSize)));
      before[n] = unit(-pi * i / static_cast<double>(blockSize));
      roots[n] = unit(-2.0 * pi * i / static_cast<double>(blockSize));
      after[n] = unit(-pi * n0 * (i + 0.5) / static_cast<double>(lines));
    }
  }
};

const Tables& tables() {
  static const Tables all;
  return all;
}

/// The discrete Fourier transform in place.
void transform(std::vector<Complex>& x) {
  for (std::size_t i = 1, j = 0; i < blockSize; ++i) {
    std::size_t bit = blockSize / 2;
    for (; (j & bit) != 0; bit /= 2) {
      j ^= bit;
    }
    j ^= bit;
    if (i < j) {
      std::swap(x[i], x[j]);
    }
  }
  for (std::size_t half = 1; half < blockSize; half *= 2) {
    const std::size_t stride = blockSize / (2 * half);
    for (std::size_t start = 0; start < blockSize; start += 2 * half) {
      for (std::size_t k = 0; k < half; ++k) {
        const Complex even = x[start + k];
        const Complex odd = times(x[start + k + half], tables().roots[k * stride]);
        x[start + k] = even + odd;
        x[start + k + half] = even - odd;
      }
    }
  }
}

void quantise(std::vector<float>& spectrum, std::size_t cutOff, float noise) {
  std::fill(spectrum.begin() + static_cast<std::ptrdiff_t>(cutOff), spectrum.end(), 0.0F);
  for (std::size_t start = 0; start < cutOff;) {
    const std::size_t end = std::min(cutOff, start + std::max<std::size_t>(4, start / 5));
    float energy = 1e-20F;
    for (std::size_t k = start; k < end; ++k) {
      energy += spectrum[k] * spectrum[k];
    }
    // Rounding to steps adds noise of a step over the root of twelve.
    const float step = 3.46F * noise * std::sqrt(energy / static_cast<float>(end - start));
    for (std::size_t k = start; k < end; ++k) {
      spectrum[k] = step * std::round(spectrum[k] / step);
    }
    start = end;
  }
}

}  // namespace

void passThroughCodec(std::vector<float>& samples, double sampleRate, double bandwidth,
                      double noiseDb) {
  const Tables& t = tables();
  const auto cutOff = static_cast<std::size_t>(
      std::min(static_cast<double>(lines), bandwidth / sampleRate * 2.0 * lines));
  const auto noise = static_cast<float>(std::pow(10.0, -noiseDb / 20.0));
  const std::size_t count = samples.size();
  std::vector<float> padded(lines + count + blockSize);
  std::copy(samples.begin(), samples.end(), padded.begin() + lines);
  std::vector<float> decoded(padded.size());
  std::vector<Complex> block(blockSize);
  std::vector<float> spectrum(lines);
  for (std::size_t start = 0; start + blockSize <= padded.size(); start += lines) {
    for (std::size_t n = 0; n < blockSize; ++n) {
      const float windowed = padded[start + n] * t.window[n];
      block[n] = {windowed * t.before[n].real(), windowed * t.before[n].imag()};
    }
    transform(block);
    for (std::size_t k = 0; k < lines; ++k) {
      spectrum[k] = times(block[k], t.after[k]).real();
    }
    quantise(spectrum, cutOff, noise);
    // The inverse takes the same turns.
    for (std::size_t k = 0; k < lines; ++k) {
      block[k] = {spectrum[k] * t.after[k].real(), spectrum[k] * t.after[k].imag()};
      block[k + lines] = {};
    }
    transform(block);
    for (std::size_t n = 0; n < blockSize; ++n) {
      decoded[start + n] +=
          times(block[n], t.before[n]).real() * t.window[n] * (2.0F / static_cast<float>(lines));
    }
  }
  std::copy_n(decoded.begin() + lines, count, samples.begin());
}
