#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "models/TapeModel.h"
#include "support/Check.h"
#include "support/MemoryFile.h"
#include "support/OpenClasses.h"
#include "support/TapeInput.h"

namespace {

// Most recordings are short for the sake of speed; the long ones hold more bits than the store.
constexpr std::size_t usualSamples = 30'000;
constexpr std::size_t mostSamples = 600'000;

std::vector<float> recordingOf(std::string_view bytes, bool areFloats, std::size_t longest) {
  return areFloats ? recordingOfFloats(bytes) : recordingOfHalfPeriods(bytes, longest);
}

void checkDecode(OpenTapeDataReader& reader, TapeModel& model, std::vector<float> recording) {
  model.decode(recording);
  reader.readPresetData(recording.data(), static_cast<int>(recording.size()));

  checkEqual(reader.readPos, static_cast<int>(recording.size()), "samples read");
  const float last = recording.empty() ? 0.0F : recording.back();
  checkSame<float>({&reader.lastSample, 1}, {&last, 1}, "last sample");
  checkSame<char>(reader.bitStream, model.bits, "bit store");
  const std::string expectedBank = model.bank();
  checkSame<char>(reader.bank(), expectedBank, "bank");
  for (std::size_t preset = 0; preset < 40; ++preset) {
    std::string record(24, '\0');
    reader.getRawPresetBytes(static_cast<int>(preset), record.data());
    checkSame<char>(record, expectedBank.substr(24 * preset, 24), "record");
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
  const std::string_view recordings = textOf(data + 3, size - 3);
  const std::size_t firstSize = std::min<std::size_t>(data[1] + 256U * data[2], recordings.size());

  OpenTapeDataReader reader;
  TapeModel model;
  checkDecode(reader, model, recordingOf(recordings.substr(0, firstSize), forms % 2 != 0, longest));
  checkDecode(reader, model,
              recordingOf(recordings.substr(firstSize), forms / 2 % 2 != 0, longest));
  check(output.take().empty(), "nothing printed");
  return 0;
}
