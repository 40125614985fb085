// The main program of every benchmark. When all are through, a table sets the peers of each family
// side by side. Of several repetitions the best counts, since what disturbs a run only makes it
// slower.
#include "ratios.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <vector>

namespace vor::bench {
namespace {

struct Wanted {
    double times = 0;
    bool is_limit = false; // of the time, not of the speed
};

std::map<std::string, Wanted> &all_wanted() {
    static std::map<std::string, Wanted> wanted;
    return wanted;
}

class RatioReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context &) override { return true; }

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            const auto rate = run.counters.find("items_per_second");
            if (run.error_occurred || run.run_type != Run::RT_Iteration ||
                rate == run.counters.end())
                continue;
            note(run.run_name.function_name, rate->second);
            for (const auto &[name, counter] : run.counters)
                if (name != rate->first) further_[run.run_name.function_name][name] = counter;
        }
    }

    void Finalize() override {
        std::printf("\n%-40s %-18s %14s %22s %s\n", "road", "peer", "items/s", "ours against it",
                    "wanted");
        std::sort(families_.begin(), families_.end());
        for (const auto &[family, peers] : families_) {
            double ours = 0;
            for (const auto &[peer, rate] : peers)
                if (peer == "ours") ours = rate;
            for (const auto &[peer, rate] : peers)
                print(family, peer, rate, ours);
        }
    }

private:
    using Peers = std::vector<std::pair<std::string, double>>;

    void note(const std::string &name, double rate) {
        const size_t slash = name.rfind('/');
        Peers &peers = in(families_, name.substr(0, slash));
        double &best = in(peers, name.substr(slash + 1));
        best = std::max(best, rate);
    }

    // The entry of a name, a new one at the end if there is none.
    template <class Value>
    static Value &in(std::vector<std::pair<std::string, Value>> &list, const std::string &name) {
        for (auto &[known, value] : list)
            if (known == name) return value;
        return list.emplace_back(name, Value{}).second;
    }

    void print(const std::string &family, const std::string &peer, double rate, double ours) {
        std::string whole = family;
        whole.append("/").append(peer);
        const auto found = all_wanted().find(whole);
        const bool is_limit = found != all_wanted().end() && found->second.is_limit;
        const double ratio = is_limit ? rate / ours : ours / rate;
        std::printf("%-40s %-18s %14.0f %8.2f %-13s", family.c_str(), peer.c_str(), rate, ratio,
                    is_limit ? "times its time" : "times as fast");
        if (found != all_wanted().end()) {
            const double times = found->second.times;
            const bool met = is_limit ? ratio <= times : ratio >= times;
            std::printf(" %s %.2f %s", is_limit ? "at most " : "at least", times,
                        met ? "met" : "MISSED");
        }
        std::printf("\n");
        for (const auto &[name, value] : further_[whole])
            std::printf("%-40s   %s: %.0f\n", "", name.c_str(), value);
    }

    std::vector<std::pair<std::string, Peers>> families_;
    std::map<std::string, std::map<std::string, double>> further_; // other counters of each
};

} // namespace

void want_times_as_fast(const std::string &family, const std::string &peer, double times) {
    all_wanted()[family + "/" + peer] = {times, false};
}

void want_times_the_time(const std::string &family, const std::string &peer, double times) {
    all_wanted()[family + "/" + peer] = {times, true};
}

} // namespace vor::bench

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    vor::bench::RatioReporter reporter;
    const size_t run = benchmark::RunSpecifiedBenchmarks(&reporter);
    const bool some_were_picked = !benchmark::GetBenchmarkFilter().empty();
    return run > 0 || some_were_picked ? 0 : 1;
}
