// Two ways of doing the same, in turn (A B A B ...), on the real clock.
#ifndef BENCH_ALTERNATE_H
#define BENCH_ALTERNATE_H

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <vector>

namespace bench
{

struct way {
    const char *name;
    std::function<void()> call;
    std::function<void()> prepare; // before each call, not timed; may be empty
};

// How often: each turn takes so many samples of one way, each sample is the mean of so many calls.
struct pace {
    int turns;
    int samples;
    int calls;
};

inline double nanoseconds(const way &way, int calls)
{
    if (way.prepare)
        way.prepare();
    const auto began = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; i++)
        way.call();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - began).count() / calls;
}

// The sample below which this part of them all lies.
inline double part_of(std::vector<double> samples, double part)
{
    const auto at = samples.begin() + static_cast<long>(part * static_cast<double>(samples.size() - 1));
    std::nth_element(samples.begin(), at, samples.end());
    return *at;
}

struct figures {
    std::vector<double> medians; // of the turns
    std::vector<double> p99s;
};

inline void take_turn(const way &way, const pace &pace, figures *figures)
{
    std::vector<double> samples;
    samples.reserve(static_cast<size_t>(pace.samples));
    for (int i = 0; i < pace.samples; i++)
        samples.push_back(nanoseconds(way, pace.calls));
    figures->medians.push_back(part_of(samples, 0.5));
    figures->p99s.push_back(part_of(samples, 0.99));
}

inline double median_ratio(const std::vector<double> &ours, const std::vector<double> &others)
{
    std::vector<double> ratios;
    for (size_t i = 0; i < ours.size(); i++)
        ratios.push_back(ours[i] / others[i]);
    return part_of(ratios, 0.5);
}

// Prints a line "pair WHAT OURS MEDIAN P99 OTHER MEDIAN P99 RATIO RATIO-OF-P99" in nanoseconds a call; the ratios are
// the medians of those of neighbouring turns. The first turn of each warms up and does not count.
inline void alternate(const char *what, const way &ours, const way &other, const pace &pace)
{
    figures our_figures;
    figures other_figures;
    figures warm_up;
    take_turn(ours, pace, &warm_up);
    take_turn(other, pace, &warm_up);
    for (int i = 0; i < pace.turns; i++) {
        take_turn(ours, pace, &our_figures);
        take_turn(other, pace, &other_figures);
    }
    std::printf("pair\t%s\t%s\t%.1f\t%.1f\t%s\t%.1f\t%.1f\t%.4f\t%.4f\n", what, ours.name,
                part_of(our_figures.medians, 0.5), part_of(our_figures.p99s, 0.5), other.name,
                part_of(other_figures.medians, 0.5), part_of(other_figures.p99s, 0.5),
                median_ratio(our_figures.medians, other_figures.medians),
                median_ratio(our_figures.p99s, other_figures.p99s));
    std::fflush(stdout);
}

} // namespace bench

#endif
