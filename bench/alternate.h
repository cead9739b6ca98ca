// Two sides of a comparison measured in turns within one benchmark, so that
// whatever else the machine does falls on both alike: each round (one
// iteration of the benchmark) times a turn of each side, the side that goes
// first alternating from round to round.
#ifndef PD_BENCH_ALTERNATE_H
#define PD_BENCH_ALTERNATE_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <vector>

namespace pd_bench {

inline double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  size_t n = values.size();
  return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// Each turn returns the seconds it took; they are kept per round.
template <class First, class Second>
void alternate(benchmark::State &state, First first_turn, Second second_turn,
               std::vector<double> &first, std::vector<double> &second) {
  bool first_leads = true;
  for (auto _ : state) {
    double a, b;
    if (first_leads) {
      a = first_turn();
      b = second_turn();
    } else {
      b = second_turn();
      a = first_turn();
    }
    first_leads = !first_leads;
    first.push_back(a);
    second.push_back(b);
    state.SetIterationTime(a + b);
  }
}

// The ratio numerator[i] / denominator[i] of the rounds: min, median, max.
inline void report_ratio(benchmark::State &state, const std::vector<double> &numerator,
                         const std::vector<double> &denominator) {
  std::vector<double> ratios;
  for (size_t i = 0; i < numerator.size() && i < denominator.size(); ++i)
    ratios.push_back(numerator[i] / denominator[i]);
  if (ratios.empty()) return;
  state.counters["ratio_min"] = *std::min_element(ratios.begin(), ratios.end());
  state.counters["ratio_median"] = median(ratios);
  state.counters["ratio_max"] = *std::max_element(ratios.begin(), ratios.end());
}

}  // namespace pd_bench

#endif
