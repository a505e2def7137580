#include "models/TransferModel.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace {

constexpr std::size_t recordSize = 24;

/// The names of the settings in a record byte.
struct ByteLayout {
  std::string_view bit7;
  std::string_view bits0to6;
};

using RecordLayout = std::array<ByteLayout, recordSize>;

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

/// Looks up each setting of an arrangement `to` by its name in the arrangement `from`.
std::string rearranged(std::string_view records, const RecordLayout& from, const RecordLayout& to) {
  std::string result;
  for (std::size_t i = 0; i < records.size(); ++i) {
    const auto sourceOf = [&](auto half) {
      const std::string_view name = to[i % recordSize].*half;
      const auto* const place = std::find_if(
          from.begin(), from.end(), [&](const ByteLayout& byte) { return byte.*half == name; });
      return records[i / recordSize * recordSize + static_cast<std::size_t>(place - from.begin())];
    };
    result += static_cast<char>((sourceOf(&ByteLayout::bit7) & 0x80) |
                                (sourceOf(&ByteLayout::bits0to6) & 0x7F));
  }
  return result;
}

bool isPlainNumber(std::string_view key) {
  return key == "OSC_A_FREQ" || key == "OSC_B_FREQ" || key == "OSC_B_FINE";
}

}  // namespace

std::string expectedRev3(std::string_view rev1) { return rearranged(rev1, rev1Layout, rev3Layout); }

std::string expectedRev1(std::string_view rev3) {
  return rearranged(rev3, rev3Layout, rev1LayoutOnTheWayBack());
}

std::string expectedTransferText(std::string_view record) {
  std::string text;
  for (std::size_t i = 0; i < recordSize; ++i) {
    const auto& [bit7, bits0to6] = rev3Layout[i];
    if (bit7 != unnamed22 && bit7 != unnamed23) {
      text += std::string(bit7) + ((record[i] & 0x80) != 0 ? "=1\n" : "=0\n");
    }
    text += std::string(bits0to6) + "=" + std::to_string(record[i] & 0x7F) +
            (isPlainNumber(bits0to6) ? "\n" : "/127\n");
  }
  return text;
}
