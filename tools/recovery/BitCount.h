#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

#include "recovery/BitSequence.h"
#include "recovery/Bits.h"

namespace recovery {

/// How many bits the weak stretches of a dump's data lose or gain, and how sure that is.
class BitCount {
 public:
  static constexpr int farthest = 2 * farthestSlip;  // bits that all stretches together may slip

  /// Chooses the likeliest count. `endIsKnown` says that the data end with `dataRange`, and
  /// `endIsFirm` that a count which does not fit that end costs extra. `bitSequence` must outlive
  /// this object.
  BitCount(const BitSequence& bitSequence, const IndexRange& dataRange, bool endIsKnown,
           bool endIsFirm);

  /// Chooses again such that the presets look alike, if enough bits have a sure place to compare
  /// with.
  void weighLikeness();

  /// Bits that all stretches gain together.
  int slip() const { return slips.back(); }

  /// Takes no count for sure.
  void doubtAll();

  /// Takes no count for sure after the first stretch that is too long to tell, or that looks like
  /// a cut and might well have another count. `trust` is the part of a difference in cost that is
  /// believed there.
  void doubtAfterCuts(float trust);

  /// The data bits with the chosen slips; their margins take in what the count costs.
  std::vector<ReadBit> assemble() const;

 private:
  /// Counts of bits that stretches may lose or gain together, with their costs.
  using SlipCosts = std::array<float, 2 * farthest + 1>;

  /// How often each bit of a preset is a one in this bank.
  struct Columns {
    std::array<float, bitsPerPreset> ones{};
    std::array<float, bitsPerPreset> counts{};

    void add(std::size_t column, bool value, float times);
    float shareOf(std::size_t column, bool value) const;
  };

  static float& at(SlipCosts& costs, int slip);
  template <typename Use>
  static void forEachStep(const BitSequence::Stretch& stretch, Use use);
  template <typename Use>
  void forEachBit(const IndexRange& range, int slip, Use use) const;

  void resolve();
  void chooseSlips(std::vector<SlipCosts>& onward);
  IndexRange between(std::size_t i) const;
  bool isCountSure(std::size_t place) const;
  std::optional<Columns> countColumns() const;
  bool looksCut(const BitSequence::Stretch& stretch) const;

  const BitSequence& sequence;
  IndexRange data;
  float endPenalty;  // nats for data that do not end where the tones do

  // The places are before each stretch, and after the last one.
  std::vector<const BitSequence::Stretch*> stretches;
  std::vector<SlipCosts> likeness;  // of the bits at each place, by the slip there
  std::vector<int> slips;           // bits gained before each place
  std::vector<float> countMargins;  // of each place
};

}  // namespace recovery
