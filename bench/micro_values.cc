// Values: text to object and back, for each type.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <iterator>
#include <string>

#include "netconf_dm_util.h"

namespace {

struct Sample {
  const char* type_name;
  nc_dm_val_type_t type;
  const char* text;
};
constexpr Sample kSamples[] = {
    {"bool", NC_DM_VAL_TYPE_BOOL, "true"},
    {"short", NC_DM_VAL_TYPE_SHORT, "-1234"},
    {"ushort", NC_DM_VAL_TYPE_USHORT, "54321"},
    {"int", NC_DM_VAL_TYPE_INT, "-123456789"},
    {"uint", NC_DM_VAL_TYPE_UINT, "3456789012"},
    {"longlong", NC_DM_VAL_TYPE_LONGLONG, "-1234567890123456789"},
    {"ulonglong", NC_DM_VAL_TYPE_ULONGLONG, "12345678901234567890"},
    {"string", NC_DM_VAL_TYPE_STRING, "uplink to the aggregation layer"},
    {"datatime", NC_DM_VAL_TYPE_DATATIME, "2024-10-16T10:11:12"},
};

void BM_TextToValue(benchmark::State& state) {
  const Sample& sample = kSamples[state.range(0)];
  state.SetLabel(sample.type_name);
  std::string text = sample.text;
  for (auto _ : state) {
    char* value = nullptr;
    if (nc_dm_unserialize_val(text.data(), &value, sample.type) != 0) {
      state.SkipWithError("refused");
    }
    free(value);
  }
}
BENCHMARK(BM_TextToValue)->DenseRange(0, std::size(kSamples) - 1);

void BM_ValueToText(benchmark::State& state) {
  const Sample& sample = kSamples[state.range(0)];
  state.SetLabel(sample.type_name);
  std::string text = sample.text;
  char* value = nullptr;
  nc_dm_unserialize_val(text.data(), &value, sample.type);
  for (auto _ : state) {
    char* printed = nullptr;
    if (nc_dm_serialize_val(&printed, value, sample.type) != 0) state.SkipWithError("refused");
    free(printed);
  }
  free(value);
}
BENCHMARK(BM_ValueToText)->DenseRange(0, std::size(kSamples) - 1);

}  // namespace
