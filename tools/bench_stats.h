/* Figures of the benches: each one printed as min / median / max over its runs, with its goal. */
#pragma once

#include <algorithm>
#include <cstdio>
#include <vector>

/* Median of the values; -1 for none. */
inline double median_of(std::vector<double> v) {
    if (v.empty()) return -1;
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 == 1 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

/* The value below which a share p (0..1) of the values lies; -1 for none. */
inline double percentile_of(std::vector<double> v, double p) {
    if (v.empty()) return -1;
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, static_cast<size_t>(p * static_cast<double>(v.size())))];
}

/* One figure over the runs: min / median / max, its unit and its goal. */
inline void print_figure(const char* name, const std::vector<double>& per_run, const char* unit, const char* goal) {
    if (per_run.empty()) {
        printf("  %-52s no data\n", name);
        return;
    }
    const auto [lo, hi] = std::minmax_element(per_run.begin(), per_run.end());
    printf("  %-52s %9.3f / %9.3f / %9.3f %-4s %s\n", name, *lo, median_of(per_run), *hi, unit, goal);
}
