#include "recovery/Bank.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace recovery {

namespace {

constexpr float cleanMargin = 1.0e5F;

/// The 192 bits of a preset in a take.
std::span<const BitReading> presetBits(const Take& take, int preset) {
  return std::span(take.bits).subspan(static_cast<std::size_t>(preset * bitsPerPreset),
                                      static_cast<std::size_t>(bitsPerPreset));
}

bool areSure(std::span<const BitReading> bits) {
  return std::all_of(bits.begin(), bits.end(), isSure);
}

bool isPresetSure(const Take& take, int preset) {
  return take.beginningIsSure && areSure(presetBits(take, preset));
}

bool isMissing(const Take& take, int preset) {
  const auto bits = presetBits(take, preset);
  return std::all_of(bits.begin(), bits.end(), [](const BitReading& bit) { return bit.value < 0; });
}

bool differ(const Take& a, const Take& b, int preset) {
  const auto first = presetBits(a, preset);
  const auto second = presetBits(b, preset);
  return !std::equal(first.begin(), first.end(), second.begin(),
                     [](const BitReading& x, const BitReading& y) { return x.value == y.value; });
}

float leastMargin(std::span<const BitReading> bits) {
  float least = cleanMargin;
  for (const BitReading& bit : bits) {
    least = std::min(least, bit.value < 0 ? -1.0F : bit.margin);
  }
  return least;
}

double sumOfMargins(const Take& take) {
  double sum = 0.0;
  for (const BitReading& bit : take.bits) {
    sum += bit.value < 0 ? -1.0 : static_cast<double>(std::min(bit.margin, 2.0F * sureMargin));
  }
  return sum;
}

bool isBetter(const Take& a, const Take& b) {
  const int sureA = surePresets(a);
  const int sureB = surePresets(b);
  if (sureA != sureB) {
    return sureA > sureB;
  }
  return a.beginningIsSure != b.beginningIsSure ? a.beginningIsSure
                                                : sumOfMargins(a) > sumOfMargins(b);
}

/// Whether two takes from one recording are of one dump: most of the shorter lies within the
/// longer.
bool overlap(const Take& a, const Take& b) {
  const Span first = recordedSpan(a);
  const Span second = recordedSpan(b);
  const double common = std::min(first.end, second.end) - std::max(first.start, second.start);
  const double shorter = std::min(first.end - first.start, second.end - second.start);
  return common > shorter / 2.0;
}

/// Whether the data of two takes from one recording begin at the same moment.
bool beginAlike(const Take& a, const Take& b) {
  constexpr double tolerance = 0.0015;  // seconds, half of a bit
  return a.bits.front().value >= 0 && b.bits.front().value >= 0 &&
         std::abs(a.bits.front().start - b.bits.front().start) < tolerance;
}

/// The better of two takes of one dump. Where their data begin alike, that is one that ends as it
/// must, with the presets that only the other is sure of; where both are sure and differ, none is.
Take joined(const Take& a, const Take& b) {
  if (!beginAlike(a, b)) {
    return isBetter(b, a) ? b : a;
  }
  // What reaches the end knows more of the count than a piece does.
  if ((a.countIsOff && !b.endIsClean) || (b.countIsOff && !a.endIsClean)) {
    return a.countIsOff ? a : b;
  }
  const bool isSecondBetter = a.endIsClean != b.endIsClean ? b.endIsClean : isBetter(b, a);
  Take take = isSecondBetter ? b : a;
  const Take& other = isSecondBetter ? a : b;
  take.beginningIsSure = a.beginningIsSure || b.beginningIsSure;
  const Take& ofEarlierChannel = b.channelIndex < a.channelIndex ? b : a;
  if (2 * surePresets(ofEarlierChannel) >= surePresets(take)) {
    take.channelIndex = ofEarlierChannel.channelIndex;
  }
  for (int preset = 0; preset < presetCount; ++preset) {
    const auto begin = static_cast<std::ptrdiff_t>(preset * bitsPerPreset);
    if (isPresetSure(take, preset) && isPresetSure(other, preset) && differ(take, other, preset)) {
      for (int i = 0; i < bitsPerPreset; ++i) {
        take.bits[static_cast<std::size_t>(begin + i)].margin = 0.0F;
      }
    } else if (!isPresetSure(take, preset) && isPresetSure(other, preset)) {
      std::copy_n(other.bits.begin() + begin, bitsPerPreset, take.bits.begin() + begin);
    }
  }
  std::erase_if(take.doubtfulPlaces, [&take](const DoubtfulPlace& place) {
    return areSure(std::span(take.bits).subspan(static_cast<std::size_t>(place.firstBit),
                                                static_cast<std::size_t>(place.bitCount)));
  });
  return take;
}

bool isAtDropOut(const Take& take, const BitReading& bit) {
  constexpr double near = 0.01;  // seconds: a bit this near to it may be hurt
  return std::any_of(take.dropOuts.begin(), take.dropOuts.end(), [&](const DropOut& dropOut) {
    return bit.end > dropOut.span.start - near && bit.start < dropOut.span.end + near;
  });
}

bool isCountDoubtful(const Take& take) {
  return std::any_of(take.doubtfulPlaces.begin(), take.doubtfulPlaces.end(),
                     [](const DoubtfulPlace& place) { return place.countIsDoubtful; });
}

/// Why a preset with `doubtful` doubtful bits is not sure.
Reason reasonOf(const Take& take, std::span<const BitReading> bits, int doubtful) {
  if (std::any_of(bits.begin(), bits.end(), [](const BitReading& b) { return b.value < 0; })) {
    return Reason::NotRecorded;
  }
  if (!take.beginningIsSure) {
    return Reason::Beginning;
  }
  if (std::any_of(bits.begin(), bits.end(),
                  [&](const BitReading& bit) { return !isSure(bit) && isAtDropOut(take, bit); })) {
    return Reason::DropOut;
  }
  const bool isOfCount =
      doubtful == bitsPerPreset || (2 * doubtful > bitsPerPreset && isCountDoubtful(take));
  return isOfCount ? Reason::Count : Reason::Noise;
}

/// Fills in which bits of a preset are not sure, where the least sure one lies, and why.
void explain(PresetReading& result, std::span<const BitReading> bits, const Take& take) {
  result.reason = Reason::None;
  if (result.verdict == Verdict::Sure) {
    return;
  }
  const BitReading* worst = nullptr;
  int doubtful = 0;
  for (std::size_t i = 0; i < bits.size(); ++i) {
    const BitReading& bit = bits[i];
    if (!isSure(bit) || !take.beginningIsSure) {
      result.doubtfulBits[i / 8] |= static_cast<std::uint8_t>(0x80U >> (i % 8));
      ++doubtful;
    }
    if (bit.value >= 0 && (worst == nullptr || bit.margin < worst->margin)) {
      worst = &bit;
    }
  }
  result.worstTime = worst->start;
  result.reason = reasonOf(take, bits, doubtful);
}

/// The take that is best for a preset: a sure one, then the one with the largest margin. -1 where
/// no take holds it.
int bestForPreset(std::span<const Take> takes, int preset) {
  int best = -1;
  float highest = 0.0F;
  for (std::size_t i = 0; i < takes.size(); ++i) {
    if (isMissing(takes[i], preset)) {
      continue;
    }
    const float rank = leastMargin(presetBits(takes[i], preset)) +
                       (isPresetSure(takes[i], preset) ? cleanMargin : 0.0F);
    if (best < 0 || rank > highest) {
      best = static_cast<int>(i);
      highest = rank;
    }
  }
  return best;
}

/// Whether two recordings were played separately: no player keeps its pace to a fraction of a
/// millisecond, but a copy of a recording does, at whatever rate. A copy bears no witness.
bool areIndependent(const Take& a, const Take& b) {
  constexpr double leastStray = 0.0002;  // seconds
  std::vector<std::pair<double, double>> starts;
  for (std::size_t bit = 0; bit < a.bits.size(); bit += bitsPerPreset) {
    if (a.bits[bit].value >= 0 && b.bits[bit].value >= 0) {
      starts.emplace_back(a.bits[bit].start, b.bits[bit].start);
    }
  }
  if (starts.size() < 3) {
    return false;
  }
  const double a0 = starts.front().first;
  const double b0 = starts.front().second;
  const double pace = (starts.back().second - b0) / (starts.back().first - a0);
  return std::any_of(starts.begin(), starts.end(), [&](const auto& start) {
    return std::abs(start.second - b0 - pace * (start.first - a0)) > leastStray;
  });
}

/// The bits of a preset as take `best` has them, with what the other takes say of each where that
/// one alone is not sure.
std::vector<BitReading> joinBits(std::span<const Take> takes, std::size_t best, int preset) {
  const auto own = presetBits(takes[best], preset);
  std::vector<BitReading> bits(own.begin(), own.end());
  if (areSure(bits) || !takes[best].beginningIsSure) {
    return bits;
  }
  // A bit that one take is very sure of must not outvote one that is as sure of the other value.
  const auto weight = [](const BitReading& bit) { return std::min(bit.margin, 2.0F * sureMargin); };
  for (BitReading& bit : bits) {
    bit.margin = weight(bit);
  }
  for (std::size_t k = 0; k < takes.size(); ++k) {
    if (k == best || !takes[k].beginningIsSure || !areIndependent(takes[best], takes[k])) {
      continue;
    }
    const auto other = presetBits(takes[k], preset);
    for (std::size_t i = 0; i < bits.size(); ++i) {
      BitReading& bit = bits[i];
      if (bit.value < 0 || other[i].value < 0) {
        continue;
      }
      const float sum =
          bit.margin + (other[i].value == bit.value ? 1.0F : -1.0F) * weight(other[i]);
      bit.value = sum < 0.0F ? other[i].value : bit.value;
      bit.margin = std::abs(sum);
    }
  }
  return bits;
}

/// Packs 192 bits into the 24 bytes at `record`.
void packBits(std::span<const BitReading> bits, char* record) {
  for (std::size_t byte = 0; byte < presetSize; ++byte) {
    int value = 0;
    for (const BitReading& bit : bits.subspan(8 * byte, 8)) {
      value = value * 2 + (bit.value == 1 ? 1 : 0);
    }
    record[byte] = static_cast<char>(value);
  }
}

}  // namespace

int BankReading::count(Verdict verdict) const {
  return static_cast<int>(
      std::count_if(presets.begin(), presets.end(),
                    [verdict](const PresetReading& preset) { return preset.verdict == verdict; }));
}

std::ptrdiff_t recordedBits(const Take& take) {
  return std::count_if(take.bits.begin(), take.bits.end(),
                       [](const BitReading& bit) { return bit.value >= 0; });
}

Span presetSpan(const Take& take, int preset) {
  return recordedSpan(take, static_cast<std::size_t>(preset) * bitsPerPreset, bitsPerPreset);
}

int surePresets(const Take& take) {
  int count = 0;
  for (int preset = 0; preset < presetCount; ++preset) {
    count += isPresetSure(take, preset) ? 1 : 0;
  }
  return count;
}

DifferentDumps findDifferentDumps(std::span<const Take> takes) {
  for (std::size_t a = 0; a < takes.size(); ++a) {
    for (std::size_t b = a + 1; b < takes.size(); ++b) {
      for (int preset = 0; preset < presetCount; ++preset) {
        if (isPresetSure(takes[a], preset) && isPresetSure(takes[b], preset) &&
            differ(takes[a], takes[b], preset)) {
          return {static_cast<int>(a), static_cast<int>(b)};
        }
      }
    }
  }
  return {};
}

BankReading readBank(std::span<const Take> takes) {
  BankReading reading;
  for (int preset = 0; preset < presetCount; ++preset) {
    const int best = bestForPreset(takes, preset);
    if (best < 0) {
      continue;
    }
    const Take& take = takes[static_cast<std::size_t>(best)];
    const std::vector<BitReading> bits = joinBits(takes, static_cast<std::size_t>(best), preset);
    PresetReading& result = reading.presets[static_cast<std::size_t>(preset)];
    result.take = best;
    result.span = presetSpan(take, preset);
    result.margin = leastMargin(bits);
    result.verdict = take.beginningIsSure && areSure(bits) ? Verdict::Sure : Verdict::Doubtful;
    explain(result, bits, take);
    packBits(bits, reading.bank.data() + static_cast<std::ptrdiff_t>(presetSize) * preset);
  }
  return reading;
}

std::vector<Take> mergeTakes(std::vector<Take> takes, const std::vector<Take>& others) {
  for (const Take& other : others) {
    const auto same = std::find_if(takes.begin(), takes.end(),
                                   [&](const Take& take) { return overlap(take, other); });
    if (same == takes.end()) {
      takes.push_back(other);
    } else {
      *same = joined(*same, other);
    }
  }
  std::sort(takes.begin(), takes.end(), [](const Take& a, const Take& b) {
    return recordedSpan(a).start < recordedSpan(b).start;
  });
  return takes;
}

void takeOpinion(Take& take, const PresetBank& other) {
  const auto differs = [&other](const BitReading& bit, std::size_t index) {
    return bit.value != ((other[index / 8] >> (7 - index % 8)) & 1);
  };
  std::vector<std::size_t> doubted;
  for (std::size_t i = 0; i < take.bits.size(); ++i) {
    const BitReading& bit = take.bits[i];
    if (bit.value < 0 || !differs(bit, i)) {
      continue;
    }
    if (isPresetSure(take, static_cast<int>(i) / bitsPerPreset)) {
      return;
    }
    doubted.push_back(i);
  }
  if (surePresets(take) == 0) {
    return;
  }
  for (const std::size_t i : doubted) {
    take.bits[i].value = static_cast<std::int8_t>(1 - take.bits[i].value);
    take.bits[i].margin = 0.0F;
  }
}

int bestTake(std::span<const Take> takes) {
  constexpr int littleBetter = 8;  // a whole dump does not yield to a later one for so little
  // A sure preset is worth three times as much as a doubtful one.
  const auto worth = [](const Take& take) {
    return 2 * surePresets(take) + static_cast<int>(recordedBits(take) / bitsPerPreset);
  };
  int best = -1;
  for (std::size_t i = 0; i < takes.size(); ++i) {
    if (best < 0) {
      best = static_cast<int>(i);
      continue;
    }
    const Take& take = takes[static_cast<std::size_t>(best)];
    const int more = worth(takes[i]) - worth(take);
    const bool isKept = recordedBits(take) == bitsPerBank && more <= littleBetter;
    if (!isKept && (more > 0 || (more == 0 && isBetter(takes[i], take)))) {
      best = static_cast<int>(i);
    }
  }
  return best;
}

}  // namespace recovery
