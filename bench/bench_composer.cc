// Request composition: appending to long record lists stays linear, and the
// cost of one typical gateway document.
#include <benchmark/benchmark.h>

#include <string>

#include "composer/pd_composer.h"

namespace {

void BM_PeopleListAppend(benchmark::State &state) {
  const auto nodes = state.range(0);
  for (auto _ : state) {
    Composer_People *people = Composer_People_create();
    for (int64_t i = 0; i < nodes; ++i)
      Composer_People_add(people, "123456", "palisade", nullptr, nullptr, nullptr, nullptr);
    benchmark::DoNotOptimize(people);
    Composer_People_delete(people);
  }
  state.SetComplexityN(nodes);
}
BENCHMARK(BM_PeopleListAppend)->RangeMultiplier(10)->Range(100, 100000)->Complexity();

void BM_FriendGroupingDocument(benchmark::State &state) {
  char body[512];
  for (auto _ : state) {
    Composer_People *people = Composer_People_add(Composer_People_create(), "owner", nullptr, nullptr,
                                                  nullptr, nullptr, nullptr);
    int code = xml_composer_friend_grouping_retrieve(
        body, "0123456789abcdef0123456789abcdef", people,
        Composer_Response_create("1", "16", nullptr, nullptr));
    benchmark::DoNotOptimize(code);
    benchmark::DoNotOptimize(body);
  }
}
BENCHMARK(BM_FriendGroupingDocument);

}  // namespace
