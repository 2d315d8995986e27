// Pushes and pops a second of each kind of store, against a plain std::deque under a std::mutex.
// An operation is one push or one pop of a pointer, in runs of a hundred pushes and then a hundred
// pops: "alone" on one thread, "contended" on two threads that use one store.
#include <benchmark/benchmark.h>
#include <cstdio>
#include <deque>
#include <map>
#include <mutex>
#include <string>

#include "utils/LockingStore.h"
#include "utils/SignalledStore.h"

namespace {

using namespace lathwind;

constexpr int kRun = 100;
using Element = const int*;

class LockedDeque {
public:
    void push(Element element) {
        const std::lock_guard guard(mutex_);
        elements_.push_back(element);
    }
    Element popFront() {
        const std::lock_guard guard(mutex_);
        const Element first = elements_.front();
        elements_.pop_front();
        return first;
    }

private:
    std::mutex mutex_;
    std::deque<Element> elements_;
};

template <class Store>
Store& sharedStore() {
    static Store store;
    return store;
}

template <class Store>
void pushRun(Store& store, Element element) {
    for (int i = 0; i < kRun; ++i) {
        if constexpr (requires { store.pushChecked(element); }) {
            store.pushChecked(element);
        } else {
            store.push(element);
        }
    }
}

void pushRun(LockingStore<Element>& store, Element element) {
    store.lockBatch();
    for (int i = 0; i < kRun; ++i) {
        store.pushChecked(element);
    }
    store.unlockBatch();
}

// Each thread pops as many as it has pushed, so no store is ever found empty.
template <class Store>
void pushAndPop(benchmark::State& state) {
    Store& store = sharedStore<Store>();
    const int value = 0;
    for (auto _ : state) {
        pushRun(store, &value);
        for (int i = 0; i < kRun; ++i) {
            benchmark::DoNotOptimize(store.popFront());
        }
    }
    state.SetItemsProcessed(state.iterations() * 2 * kRun);
}

// Prints the table as usual and remembers each benchmark's rate.
class Rates : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const auto items = run.counters.find("items_per_second");
            if (items != run.counters.end()) {
                rates_[run.run_name.function_name + (run.threads > 1 ? ", contended" : ", alone")] =
                    items->second.value;
            }
        }
    }

    void printRatios(const std::string& reference) const {
        for (const auto& [name, rate] : rates_) {
            const std::size_t comma = name.find(',');
            const auto base = rates_.find(reference + name.substr(comma));
            if (base != rates_.end() && base->first != name) {
                std::printf("%-34s %5.2f of %s\n", name.c_str(), rate / base->second,
                            reference.c_str());
            }
        }
    }

private:
    std::map<std::string, double> rates_;
};

constexpr char kReference[] = "std::deque under std::mutex";

template <class Store>
void registerStore(const char* name, bool shared) {
    const auto options = [](benchmark::internal::Benchmark* bench) {
        bench->UseRealTime()->MinTime(0.3);
    };
    options(benchmark::RegisterBenchmark(name, pushAndPop<Store>));
    if (shared) {
        options(benchmark::RegisterBenchmark(name, pushAndPop<Store>)->Threads(2));
    }
}

}  // namespace

int main(int argc, char** argv) {
    registerStore<LockedDeque>(kReference, true);
    registerStore<HighWaterQueue<Element>>("HighWaterQueue", false);
    registerStore<ThreadSafeStore<Element>>("ThreadSafeStore", true);
    registerStore<SignalledStore<Element>>("SignalledStore", true);
    registerStore<LockingStore<Element>>("LockingStore", true);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    Rates rates;
    benchmark::RunSpecifiedBenchmarks(&rates);
    std::printf("\nOperations a second, as a ratio:\n");
    rates.printRatios(kReference);
    return 0;
}
