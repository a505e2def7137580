#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "recovery/Bits.h"
#include "recovery/SlackCosts.h"
#include "recovery/Waves.h"
#include "recovery/Whitened.h"

namespace recovery {

/// Where the best path to each tape sample comes from.
struct Step {
  std::int16_t extra = 0;
  std::int16_t previous = 0;
};

/// The likeliest cut into bits by the waves, and all that can be asked of the ways around it. The
/// order of calls is: `forward`; `weigh`, only once, with its bits; `forward` again; `setMargins`
/// and `findWeakStretches` with those of the last.
class WaveDecoder {
 public:
  /// `tapeSignal` holds at least two of the longer bits and their slack. `learned` are waves that
  /// have learned, `hiss` is a mean square, `slackDeviation` that of the bits' lengths, in tape
  /// samples.
  WaveDecoder(const TapeSignal& tapeSignal, Waves learned, double hiss, double slackDeviation);

  /// The likeliest cut; after `weigh` by what the scores are worth.
  std::vector<PathBit> forward();

  /// The mean square of the hiss, rather too little than too much: by what the waves do not explain
  /// of the best bits, and by the quietest moments.
  double measureHiss(const std::vector<PathBit>& bits) const;

  /// The deviation of the bits' lengths, in tape samples.
  double measureSlack(const std::vector<PathBit>& bits) const;

  /// Makes the scores what they are worth in the noise around each of the bits, which are the best
  /// path so far. Without it what is left of a wave where it fades would outweigh the lengths.
  void weigh(const std::vector<PathBit>& bits);

  /// Sets the margins of the bits, which are those of the last cut.
  void setMargins(std::vector<PathBit>& bits);

  /// The stretches of weak margins, each with its best readings of more or fewer bits.
  std::vector<WeakStretch> findWeakStretches(const std::vector<PathBit>& bits) const;

 private:
  /// Which bits belong to more than `longestGap` in a row without a tone: no dump goes on there.
  static std::vector<bool> findSilence(const std::vector<PathBit>& bits);

  /// Lets the bits of the next path begin only about where those of this one do, but anywhere near
  /// what its waves do not explain. A leader looks the same a cycle later.
  void holdFirmBits(const std::vector<PathBit>& bits);

  int longest() const { return std::max(lengths[0], lengths[1]); }
  int lastStart() const { return size - longest() - slack; }

  float score(bool before, bool value, std::size_t start) const {
    return scores[Waves::index(before, value)][start];
  }

  /// What the scores of a bit that begins here count.
  float weightAt(int start) const {
    return weights.empty() ? 1.0F : weights[static_cast<std::size_t>(start + oneLength / 2)];
  }

  double energyOf(const PathBit& bit) const;

  double explainedOf(const PathBit& bit) const;

  /// What its wave leaves unexplained of a sample of the bit.
  double restOf(const PathBit& bit) const;

  /// Sets what the waves explain of each bit.
  void describe(std::vector<PathBit>& bits) const;

  /// What the waves leave unexplained of the bits of a value, in whitened units.
  struct Rest {
    double energy = 1.0;  // of a sample
    double doubt = 1.0;   // of a sample's part that looks like the other value: what makes errors
  };

  /// Measures the rests of the bits with a tone, by their value. What strays in pace or level is
  /// left, too, but does not look like the other value.
  std::array<Rest, 2> measureRests(const std::vector<PathBit>& bits) const;

  /// How much the scores count around a bit: less where the noise that may pass for a bit is more.
  float weightOf(const std::vector<PathBit>& bits, std::size_t k,
                 const std::array<Rest, 2>& rests) const;

  void backward();

  /// The cells of the best paths through a stretch, by count of bits, position and last value.
  struct Lattice {
    int from = 0;
    int span = 0;
    std::vector<double> totals;
    std::vector<Step> ways;

    std::size_t cell(int count, int position, int value) const {
      return static_cast<std::size_t>((count * (span + 1) + position) * 2 + value);
    }
  };

  /// A bit that a path through a stretch must not hold.
  struct Ban {
    int middle = -1;
    bool value = false;
  };

  Lattice fillLattice(const std::vector<PathBit>& bits, const WeakStretch& stretch, int most,
                      const Ban& ban) const;

  void extendPaths(Lattice& lattice, int count, int position, const Ban& ban) const;

  /// The best path of `count` bits and its total, which takes in the bit after the stretch.
  std::pair<double, int> endOf(const Lattice& lattice, int count, const std::vector<PathBit>& bits,
                               const WeakStretch& stretch) const;

  std::vector<PathBit> pathOf(const Lattice& lattice, int count, int value) const;

  /// Reads a stretch once for each count of bits.
  void readSlips(const std::vector<PathBit>& bits, WeakStretch& stretch) const;

  /// Reads a stretch once with its weakest bit otherwise.
  void readOther(const std::vector<PathBit>& bits, WeakStretch& stretch) const;

  Waves waves;
  SlackCosts slackCost;
  Whitened signal;
  Lengths lengths;
  int size;
  std::array<std::vector<float>, 4> scores;  // by the value before and the bit's own, nats
  std::vector<bool> mayBegin;                // whether a bit may begin at a sample; none: anywhere
  std::vector<float> weights;                // of the scores, one a sample; none: all count fully
  std::vector<double> energies;              // of the samples before each
  std::array<std::vector<double>, 2> best;   // of the paths to each sample, by their last value
  std::array<std::vector<Step>, 2> steps;
  std::array<std::vector<double>, 2>
      through;  // the best path with a bit of the value from there on
  double bestTotal = 0.0;
  int endValue = 0;
};

}  // namespace recovery
