#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validator.hpp>

#include "report/MadeResults.h"
#include "report/Report.h"
#include "support/Files.h"

namespace {

using nlohmann::json;
using valijson::adapters::NlohmannJsonAdapter;

/// What the schema has against the object; empty if it is as it should be.
std::string faultsOf(const json& object) {
  const json document = json::parse(readFile(PROJECT_FOLDER "/tools/report/report.schema.json"));
  valijson::Schema schema;
  valijson::SchemaParser().populateSchema(NlohmannJsonAdapter(document), schema);
  valijson::ValidationResults faults;
  valijson::Validator().validate(schema, NlohmannJsonAdapter(object), &faults);
  std::string text;
  for (const auto& fault : faults) {
    for (const std::string& part : fault.context) {
      text += part;
    }
    text += ": " + fault.description + "\n";
  }
  return text;
}

TEST(JsonReport, IsAsTheSchemaSays) {
  report::Results results = madeResults();
  EXPECT_EQ(faultsOf(json::parse(report::jsonReport(results))), "");

  makeDoubtful(results, 3, recovery::Reason::Noise);
  results.bank.presets[39] = {};
  report::Recording& recording = results.recordings[0];
  recording.name = "\"\\\n\xFF.wav";
  recording.isLossy = true;
  recovery::Take& take = recording.takes[0];
  take.leader = {};
  take.dropOuts.push_back({{3.0, 3.02}, 20.0});
  take.doubtfulPlaces.push_back({{3.0, 3.02}, 768, 3, 2.0F, true, {0, 1, 0}, {1, 1}, {}});
  results.recordings.emplace_back();
  EXPECT_EQ(faultsOf(json::parse(report::jsonReport(results))), "");
}

TEST(JsonReport, IsNotAsTheSchemaSaysWithoutAMemberOrWithAnother) {
  const json whole = json::parse(report::jsonReport(madeResults()));
  json changed = whole;
  changed["presets"][7].erase("verdict");
  EXPECT_NE(faultsOf(changed), "");
  changed = whole;
  changed["recordings"][0]["colour"] = "red";
  EXPECT_NE(faultsOf(changed), "");
}

}  // namespace
