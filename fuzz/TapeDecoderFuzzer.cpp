#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "support/Check.h"
#include "support/MemoryFile.h"
#include "support/TapeInput.h"
#include "support/TapeModel.h"
#include "tape/TapeDataReader.h"

namespace {

/// A reader whose members can be looked at.
class OpenTapeDataReader : public TapeDataReader {
 public:
  using TapeDataReader::bitStream;
  using TapeDataReader::lastSample;
  using TapeDataReader::readPos;
};

// Most recordings are short for the sake of speed; the long ones hold more bits than the store.
constexpr std::size_t usualSamples = 30'000;
constexpr std::size_t mostSamples = 600'000;

std::vector<float> recordingOf(Bytes bytes, bool areFloats, std::size_t longest) {
  return areFloats ? recordingOfFloats(bytes) : recordingOfHalfPeriods(bytes, longest);
}

void checkDecode(OpenTapeDataReader& reader, TapeModel& model, std::vector<float> recording) {
  model.decode(recording);
  reader.readPresetData(recording.data(), static_cast<int>(recording.size()));

  checkEqual(reader.readPos, static_cast<int>(recording.size()), "samples read");
  const float last = recording.empty() ? 0.0F : recording.back();
  checkSame<float>({&reader.lastSample, 1}, {&last, 1}, "last sample");
  checkSame<char>(reader.bitStream, model.bits, "bit store");
  const std::array<char, 960> expectedBank = model.bank();
  std::array<char, 960> bank{};
  reader.getRawPresetBankBytes(bank.data());
  checkSame<char>(bank, expectedBank, "bank");
  for (std::size_t preset = 0; preset < 40; ++preset) {
    std::array<char, 24> record{};
    reader.getRawPresetBytes(static_cast<int>(preset), record.data());
    checkSame<char>(record, std::span(expectedBank).subspan(24 * preset, 24), "record");
  }
}

}  // namespace

/// The first byte chooses the forms of two recordings and how long they may be, the next two say
/// how many bytes make up the first of them; the rest is the other one. One reader decodes both.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const CapturedOutput output;
  if (size < 3) {
    return 0;
  }
  const int forms = data[0];
  const std::size_t longest = forms >= 0xFC ? mostSamples : usualSamples;
  const Bytes recordings(data + 3, size - 3);
  const std::size_t firstSize = std::min<std::size_t>(data[1] + 256U * data[2], recordings.size());

  OpenTapeDataReader reader;
  TapeModel model;
  checkDecode(reader, model, recordingOf(recordings.first(firstSize), forms % 2 != 0, longest));
  checkDecode(reader, model,
              recordingOf(recordings.subspan(firstSize), forms / 2 % 2 != 0, longest));
  check(output.take().empty(), "nothing printed");
  return 0;
}
