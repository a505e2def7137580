#include "support/TransferModel.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "support/Check.h"

namespace {

/// The names of the settings in a record byte.
struct ByteLayout {
  std::string_view bit7;
  std::string_view bits0to6;
};

using RecordLayout = std::array<ByteLayout, 24>;

constexpr std::string_view unnamed22 = "bit 7 of revision-3 byte 22";
constexpr std::string_view unnamed23 = "bit 7 of revision-3 byte 23";

constexpr RecordLayout rev3Layout{{
    {"OSC_A_PULSE", "FILT_ATK"},
    {"OSC_A_SAW", "FILT_DEC"},
    {"OSC_A_SYNC", "FILT_SUS"},
    {"OSC_B_SAW", "FILT_REL"},
    {"OSC_B_TRI", "AMP_ATK"},
    {"OSC_B_PULSE", "AMP_DEC"},
    {"OSC_B_KBD", "AMP_SUS"},
    {"UNISON", "AMP_REL"},
    {"POLY-MOD_FREQ_A", "FILTER_CUTOFF"},
    {"POLY-MOD_PW_A", "FILT_ENV_AMT"},
    {"POLY-MOD_FILT", "MIX_OSC_B"},
    {"LFO_SAW", "OSC_B_PW"},
    {"LFO_TRI", "MIX_OSC_A"},
    {"LFO_SQUARE", "OSC_A_PW"},
    {"FILT_KBD", "MIX_NOISE"},
    {"RELEASE", "FILT_RESONANCE"},
    {"W-MOD_FREQ_A", "GLIDE"},
    {"W-MOD_FREQ_B", "LFO_FREQ"},
    {"W-MOD_PW_A", "W-MOD_SOURCE_MIX"},
    {"W-MOD_PW_B", "P-MOD_OSC_B"},
    {"W-MOD_FILT", "P-MOD_FILT_ENV"},
    {"OSC_B_LOW_FREQ", "OSC_A_FREQ"},
    {unnamed22, "OSC_B_FREQ"},
    {unnamed23, "OSC_B_FINE"},
}};

constexpr RecordLayout rev1Layout{{
    {unnamed22, "FILT_ATK"},
    {unnamed23, "FILT_DEC"},
    {"LFO_SAW", "FILT_SUS"},
    {"POLY-MOD_FREQ_A", "FILT_REL"},
    {"POLY-MOD_PW_A", "AMP_ATK"},
    {"POLY-MOD_FILT", "AMP_DEC"},
    {"OSC_A_SAW", "AMP_SUS"},
    {"OSC_A_PULSE", "AMP_REL"},
    {"UNISON", "FILTER_CUTOFF"},
    {"OSC_B_KBD", "FILT_ENV_AMT"},
    {"W-MOD_FREQ_B", "MIX_OSC_B"},
    {"W-MOD_PW_A", "OSC_B_PW"},
    {"LFO_TRI", "MIX_OSC_A"},
    {"LFO_SQUARE", "OSC_A_PW"},
    {"W-MOD_PW_B", "MIX_NOISE"},
    {"W-MOD_FILT", "FILT_RESONANCE"},
    {"FILT_KBD", "GLIDE"},
    {"RELEASE", "OSC_B_FINE"},
    {"OSC_B_LOW_FREQ", "OSC_A_FREQ"},
    {"W-MOD_FREQ_A", "OSC_B_FREQ"},
    {"OSC_A_SYNC", "LFO_FREQ"},
    {"OSC_B_PULSE", "W-MOD_SOURCE_MIX"},
    {"OSC_B_TRI", "P-MOD_OSC_B"},
    {"OSC_B_SAW", "P-MOD_FILT_ENV"},
}};

/// On the way back the switch beside the cutoff repeats another one; UNISON is lost.
constexpr RecordLayout rev1LayoutOnTheWayBack() {
  RecordLayout layout = rev1Layout;
  layout[8].bit7 = "POLY-MOD_FREQ_A";
  return layout;
}

bool isPlainNumber(std::string_view key) {
  return key == "OSC_A_FREQ" || key == "OSC_B_FREQ" || key == "OSC_B_FINE";
}

/// The index of the byte in which the setting stands, as a switch or as a value.
std::size_t byteOf(std::string_view name, std::string_view ByteLayout::*field,
                   const RecordLayout& layout) {
  const auto* const place = std::find_if(
      layout.begin(), layout.end(), [&](const ByteLayout& byte) { return byte.*field == name; });
  check(place != layout.end(), "every setting stands in both arrangements");
  return static_cast<std::size_t>(place - layout.begin());
}

/// Where each switch and each value of an arrangement stand in another one.
struct Route {
  Route(const RecordLayout& from, const RecordLayout& to) {
    for (std::size_t i = 0; i < to.size(); ++i) {
      bit7[i] = byteOf(to[i].bit7, &ByteLayout::bit7, from);
      bits0to6[i] = byteOf(to[i].bits0to6, &ByteLayout::bits0to6, from);
    }
  }

  Record convert(const Record& source) const {
    Record destination{};
    for (std::size_t i = 0; i < destination.size(); ++i) {
      const int switchBit = static_cast<unsigned char>(source[bit7[i]]) / 128;
      const int value = static_cast<unsigned char>(source[bits0to6[i]]) % 128;
      destination[i] = static_cast<char>(switchBit * 128 + value);
    }
    return destination;
  }

  std::array<std::size_t, 24> bit7;
  std::array<std::size_t, 24> bits0to6;
};

/// Takes the line of the setting `key` from the front of `text` and returns its number.
int takeLine(std::string_view& text, std::string_view key, int highest, const char* notation) {
  int number = -1;
  const std::size_t numberStart = std::min(text.size(), key.size() + 1);
  std::from_chars(text.data() + numberStart, text.data() + text.size(), number);
  const std::string expected = std::string(key) + "=" + std::to_string(number) + notation + "\n";
  if (!text.starts_with(expected) || number < 0 || number > highest) {
    const std::string line(text.substr(0, text.find('\n')));
    check(false, ("a line of " + std::string(key) + " instead of " + line).c_str());
  }
  text.remove_prefix(expected.size());
  return number;
}

}  // namespace

Record expectedRev3Record(const Record& rev1) {
  static const Route route(rev1Layout, rev3Layout);
  return route.convert(rev1);
}

Record expectedRev1Record(const Record& rev3) {
  static const Route route(rev3Layout, rev1LayoutOnTheWayBack());
  return route.convert(rev3);
}

Record recordOfTransferFile(std::string_view text) {
  Record record{};
  for (std::size_t i = 0; i < record.size(); ++i) {
    const auto& [bit7, bits0to6] = rev3Layout[i];
    const bool isNamed = bit7 != unnamed22 && bit7 != unnamed23;
    const int switchBit = isNamed ? takeLine(text, bit7, 1, "") : 0;
    const int value = takeLine(text, bits0to6, 127, isPlainNumber(bits0to6) ? "" : "/127");
    record[i] = static_cast<char>(switchBit * 128 + value);
  }
  check(text.empty(), "nothing after the last line of a transfer file");
  return record;
}
