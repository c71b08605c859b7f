// SPDX-License-Identifier: MIT

/// \file
/// Measures every operation against its baseline. Each benchmark alternates between the two and
/// reports the medians as the counters `baseline` and `ours`, in nanoseconds per operation, and
/// `ratio`. A wrong result ends the program with an error.
///
/// Usage: tamsel_bench [options of Google Benchmark] DISK_DIRECTORY TMPFS_DIRECTORY

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <tamsel/extras/crash_safe_file_stream.h>
#include <tamsel/extras/open.h>
#include <tamsel/tamsel.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <iostream>

#include <json/version.h>

#include "baseline.h"
#include "interposer.h"
#include "sample.h"

namespace {

using Baseline::SLayers, Baseline::TKeys, Baseline::TMap;
using benchmark::State;
using Sample::ESource;

std::string diskDirectory;
std::string tmpfsDirectory;

void Require(bool isTrue, const char* claim) {
    if (!isTrue) throw std::logic_error(std::string("Check failed: ") + claim);
}

double Median(std::vector<double>& figures) {
    const auto middle = figures.begin() + static_cast<std::ptrdiff_t>(figures.size() / 2);
    std::nth_element(figures.begin(), middle, figures.end());
    return *middle;
}

/// Returns the duration of the work in seconds.
template <typename TWork>
double Time(const TWork& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// Runs both concurrently and returns the mean of their durations in seconds.
template <typename TWork, typename TOtherWork>
double TimeBoth(const TWork& work, const TOtherWork& otherWork) {
    std::atomic<int> arrived{0};
    const auto meet = [&arrived] {
        for (++arrived; arrived < 2;) continue;
    };
    auto other = std::async(std::launch::async, [&] { return meet(), Time(otherWork); });
    meet();
    const double seconds = Time(work);
    return (seconds + other.get()) / 2;
}

/// Alternates between the two, so that each finds the caches as the other left them. Both return
/// the duration of `count` operations in seconds.
template <typename TBaseline, typename TOurs>
void Compare(State& state, std::size_t count, const TBaseline& baseline, const TOurs& ours) {
    std::vector<double> baselines;
    std::vector<double> all;
    std::vector<double> ratios;
    for (auto _ : state) {
        baselines.push_back(baseline());
        all.push_back(ours());
        ratios.push_back(all.back() / baselines.back());
        state.SetIterationTime(baselines.back() + all.back());
    }
    const double nanoseconds = 1e9 / static_cast<double>(count);
    state.counters["baseline"] = Median(baselines) * nanoseconds;
    state.counters["ours"] = Median(all) * nanoseconds;
    state.counters["ratio"] = Median(ratios);
}

std::string OverlayPath(const std::string& root, const std::string& name) {
    return root + "data/config/" + name + ".json";
}

/// Writes the map to the file and returns the text written.
std::string WriteMap(const std::string& path, const TMap& map) {
    std::string text = Baseline::Print(Sample::ToJson(map));
    Require(Tamsel::WriteFile(path, text), "the sample can be written");
    return text;
}

int KeyCount(const State& state) { return static_cast<int>(state.range(0)); }

using TConfig = std::shared_ptr<Tamsel::IReadOnlyConfig>;

/// Opens the sample by the library, and stores in `map` the same data for the baseline.
TConfig Open(const Sample::SMaps& maps, TMap& map) {
    const std::string text = WriteMap(tmpfsDirectory + "etc/config/sample.json", maps.defaults);
    map = Sample::ToMap(Baseline::Parse(text));
    return Tamsel::CreateStaticOnly("sample", tmpfsDirectory);
}

TConfig Open(const Sample::SMaps& maps, SLayers& layers) {
    const std::string text = WriteMap(OverlayPath(tmpfsDirectory, "sample"), maps.overlay);
    (void)Open(maps, layers.defaults);
    layers.overlay = Sample::ToMap(Baseline::Parse(text));
    return Tamsel::Create("sample", tmpfsDirectory);
}

/// Looks up the keys of one type from one source, in one thread or two.
template <typename T, typename TStore>
void CompareGet(State& state, ESource source, int readers) {
    const T missing{};
    const Sample::SMaps maps(KeyCount(state));
    const Sample::CKeySequence sequence(maps, source, missing);
    TStore store;
    const TConfig config = Open(maps, store);
    const auto baseline = [&](const TKeys& keys) {
        Require(Baseline::Get(store, keys, missing) == sequence.Checksum(),
                "the baseline is correct");
    };
    const auto ours = [&](const TKeys& keys) {
        double sum = 0;
        for (const std::string* const key : keys) {
            sum += Baseline::Checksum(config->Get(*key, missing));
        }
        Require(sum == sequence.Checksum(), "Get is correct");
    };
    const auto time = [&](const auto& get) {
        if (readers == 1) return Time([&] { get(sequence.Keys()); });
        return TimeBoth([&] { get(sequence.Keys()); }, [&] { get(sequence.OtherOrder()); });
    };
    Compare(
        state, sequence.Keys().size(), [&] { return time(baseline); }, [&] { return time(ours); });
}

/// The ratio must be 1, or the figures of the other rows mean nothing.
void CompareBaseline(State& state) {
    const Sample::SMaps maps(KeyCount(state));
    const Sample::CKeySequence sequence(maps, ESource::Defaults, 0);
    TMap map;
    (void)Open(maps, map);
    TMap sameMap;
    (void)Open(maps, sameMap);
    const auto time = [&](const TMap& store) {
        return Time([&] {
            Require(Baseline::Get(store, sequence.Keys(), 0) == sequence.Checksum(),
                    "the baseline is correct");
        });
    };
    Compare(
        state, sequence.Keys().size(), [&] { return time(map); }, [&] { return time(sameMap); });
}

template <typename TStore>
void CompareExists(State& state) {
    const Sample::SMaps maps(KeyCount(state));
    const Sample::CKeySequence sequence(maps, ESource::Overlay, 0);
    TStore store;
    const TConfig config = Open(maps, store);
    const auto all = static_cast<double>(sequence.Keys().size());
    const auto baseline = [&] {
        Require(Baseline::Exists(store, sequence.Keys()) == all, "the baseline finds every key");
    };
    const auto ours = [&] {
        double count = 0;
        for (const std::string* const key : sequence.Keys()) {
            count += config->Exists(*key, Tamsel::EDataType::Int32) ? 1 : 0;
        }
        Require(count == all, "Exists finds every key");
    };
    Compare(
        state, sequence.Keys().size(), [&] { return Time(baseline); }, [&] { return Time(ours); });
}

template <typename TStore>
void CompareKeys(State& state) {
    const Sample::SMaps maps(KeyCount(state));
    TStore store;
    const TConfig config = Open(maps, store);
    Require(config->GetAllConfigKeys() == Baseline::GetAllConfigKeys(store),
            "every key is returned");
    Compare(
        state, 1, [&] { return Time([&] { (void)Baseline::GetAllConfigKeys(store); }); },
        [&] { return Time([&] { (void)config->GetAllConfigKeys(); }); });
}

void CompareLoad(State& state) {
    const Sample::SMaps maps(KeyCount(state));
    const std::string text = WriteMap(tmpfsDirectory + "etc/config/load.json", maps.defaults);
    TConfig config;
    const auto ours = [&] {
        config = nullptr;  // destroy the previous one outside the measured time
        return Time([&] { config = Tamsel::CreateStaticOnly("load", tmpfsDirectory); });
    };
    Compare(
        state, 1, [&] { return Time([&] { (void)Baseline::Parse(text); }); }, ours);
    Require(config->GetAllConfigKeys().size() == maps.defaults.size(), "every key is loaded");
}

void CompareReload(State& state) {
    const Sample::SMaps maps(KeyCount(state));
    const std::string text = WriteMap(OverlayPath(tmpfsDirectory, "reload"), maps.defaults);
    const auto config = Tamsel::Create("reload", tmpfsDirectory);
    Compare(
        state, 1, [&] { return Time([&] { (void)Baseline::Parse(text); }); },
        [&] { return Time([&] { config->Reload(); }); });
    Require(config->GetAllConfigKeys().size() == maps.defaults.size(), "every key is loaded");
}

/// A document in memory, to measure what a change costs before it reaches a file.
class CText : public Tamsel::IOutputFileStream {
public:
    std::string GetPath() const override { return {}; }
    unsigned int GetFileSize() const override { return 0; }
    bool Write(const std::string& content) override { return text = content, true; }
    bool HasChanged() override { return false; }

    std::string text;
};

void CompareText(State& state) {
    const TMap map = Sample::SMaps(KeyCount(state)).defaults;
    const Json::Value root = Sample::ToJson(map);
    const auto stream = std::make_shared<CText>();
    Compare(
        state, 1, [&] { return Time([&] { (void)Baseline::Print(root); }); },
        [&] { return Time([&] { Tamsel::JsonUtil::WriteConfig(stream, map); }); });
    Require(stream->text == Baseline::Print(root), "the text is jsoncpp's");
}

/// Returns the duration of one write in seconds. It must lock and synchronise the file.
template <typename TWrite>
double TimeWrite(const TWrite& write) {
    const unsigned int before = Interposer::LockedSyncs();
    const double seconds = Time(write);
    Require(Interposer::LockedSyncs() == before + 1, "the file is locked and synchronised");
    return seconds;
}

void CompareSet(State& state, const std::string& root) {
    const Sample::SMaps maps(KeyCount(state));
    const std::string path = OverlayPath(root, "set");
    const std::string baselinePath = OverlayPath(root, "baseline");
    int value = 1000000;
    TMap map = maps.defaults;
    map[Sample::IntKey] = value;
    const std::string text = WriteMap(path, map);
    const auto config = Tamsel::Create("set", root);
    Compare(
        state, 1, [&] { return TimeWrite([&] { Baseline::Write(baselinePath, text); }); },
        [&] { return TimeWrite([&] { config->Set(Sample::IntKey, ++value); }); });
    std::string baselineText;
    std::string ourText;
    Require(Tamsel::ReadFile(baselinePath, baselineText) && baselineText == text,
            "the baseline writes everything");
    map[Sample::IntKey] = value;
    Require(Tamsel::ReadFile(path, ourText) && Baseline::Parse(ourText) == Sample::ToJson(map) &&
                ourText.size() == text.size(),
            "Set writes as many bytes, and the new value");
}

/// An overlay of the sample on disk that `config` changes.
struct SOverlay {
    SOverlay(const State& state, const std::string& name)
        : path(OverlayPath(diskDirectory, name)),
          text(WriteMap(path, Sample::SMaps(KeyCount(state)).defaults)) {}

    /// Returns the duration of a `Set` in seconds.
    double TimeSet() {
        return Time([this] { config->Set(Sample::IntKey, ++value); });
    }

    /// The last value must be in a file that anyone can read, and the journal empty.
    void RequireStored() const {
        Require(!Tamsel::Extras::IsInterrupted(path), "the journal is empty");
        std::string stored;
        Require(Tamsel::ReadFile(path, stored), "the file can be read");
        Require(Baseline::Parse(stored)[Sample::IntKey] == value, "the file has the last value");
    }

    const std::string path;
    const std::string text;
    std::shared_ptr<Tamsel::IConfig> config;
    int value = 1000000;
};

void CompareJournalledSet(State& state) {
    const SOverlay baseline(state, "baseline");
    SOverlay ours(state, "journalled");
    ours.config = Tamsel::Extras::Open("journalled", diskDirectory);
    Compare(
        state, 1,
        [&] { return Time([&] { Baseline::WriteJournalled(baseline.path, baseline.text); }); },
        [&] { return ours.TimeSet(); });
    ours.RequireStored();
}

void CompareSets(State& state) {
    SOverlay plain(state, "plain");
    plain.config = Tamsel::Create("plain", diskDirectory);
    SOverlay journalled(state, "journalled");
    journalled.config = Tamsel::Extras::Open("journalled", diskDirectory);
    Compare(
        state, 1, [&] { return plain.TimeSet(); }, [&] { return journalled.TimeSet(); });
    plain.RequireStored();
    journalled.RequireStored();
}

void CompareTransact(State& state) {
    SOverlay overlay(state, "transact");
    const TMap map = Sample::SMaps(KeyCount(state)).defaults;
    const auto config = Tamsel::Extras::Open("transact", diskDirectory);
    overlay.config = config;
    const auto change = [&](Tamsel::IConfig& draft) {
        ++overlay.value;
        auto entry = map.begin();
        for (int i = 0; i < 100; ++i) draft.Set((entry++)->first, overlay.value);
    };
    Compare(
        state, 1, [&] { return overlay.TimeSet(); },
        [&] { return Time([&] { config->Transact(change); }); });
    overlay.RequireStored();
}

/// While nobody else writes, `Write`, which merges, costs hardly more than `Update`, which does
/// not.
void CompareMerge(State& state) {
    std::string text = Baseline::Print(Sample::ToJson(Sample::SMaps(KeyCount(state)).defaults));
    Tamsel::Extras::CCrashSafeFileStream replaced(OverlayPath(tmpfsDirectory, "replaced"));
    Tamsel::Extras::CCrashSafeFileStream merged(OverlayPath(tmpfsDirectory, "merged"));
    const auto replace = [&] { replaced.Update([&](const std::string&) { return text; }); };
    const auto merge = [&] { (void)merged.Write(text); };
    const auto first = [&] {
        text += '\n';
        return Time(replace);
    };
    Compare(state, 1, first, [&] { return Time(merge); });
}

void CompareHasChanged(State& state) {
    constexpr int Count = 1000;
    const std::string path = OverlayPath(tmpfsDirectory, "watch");
    const auto config = Tamsel::Create("watch", tmpfsDirectory);
    const Baseline::CWatch watch(path);
    (void)config->HasChanged();
    const auto idle = [](const auto& hasChanged) {
        return Time([&] {
            for (int i = 0; i < Count; ++i) Require(!hasChanged(), "an idle file has not changed");
        });
    };
    Compare(
        state, Count, [&] { return idle([&] { return watch.HasChanged(); }); },
        [&] { return idle([&] { return config->HasChanged(); }); });
    Require(Tamsel::WriteFile(path, "{}") && config->HasChanged(), "a change is reported");
}

/// Measures bytes instead of time: the heap that a key takes, including malloc's overhead.
void CompareHeap(State& state) {
    const Sample::SMaps maps(KeyCount(state));
    const std::string text = WriteMap(tmpfsDirectory + "etc/config/heap.json", maps.defaults);
    const auto perKey = [&](const auto& load) {
        const auto before = static_cast<double>(mallinfo2().uordblks);
        const auto kept = load();
        return (static_cast<double>(mallinfo2().uordblks) - before) / KeyCount(state) / 1e9;
    };
    Compare(
        state, 1, [&] { return perKey([&] { return Sample::ToMap(Baseline::Parse(text)); }); },
        [&] { return perKey([] { return Tamsel::CreateStaticOnly("heap", tmpfsDirectory); }); });
}

template <typename TBody>
benchmark::internal::Benchmark* Add(const std::string& name, const TBody& body) {
    return benchmark::RegisterBenchmark(name.c_str(), body)->UseManualTime();
}

/// Adds the benchmark for each number of keys.
template <typename TBody>
void AddSizes(const std::string& name, const TBody& body) {
    Add(name, body)->RangeMultiplier(10)->Range(10, 10000);
}

template <typename T, typename TStore>
void AddGet(const std::string& name, ESource source, int readers = 1) {
    AddSizes(name, [=](State& state) { CompareGet<T, TStore>(state, source, readers); });
}

void AddReads() {
    AddSizes("baseline against itself", CompareBaseline);
    AddGet<int, TMap>("static Get, int", ESource::Defaults);
    AddGet<double, TMap>("static Get, double", ESource::Defaults);
    AddGet<std::string, TMap>("static Get, string", ESource::Defaults);
    AddGet<int, TMap>("static Get, missing", ESource::Missing);
    AddGet<int, SLayers>("Get, int in overlay", ESource::Overlay);
    AddGet<double, SLayers>("Get, double in overlay", ESource::Overlay);
    AddGet<std::string, SLayers>("Get, string in overlay", ESource::Overlay);
    AddGet<int, SLayers>("Get, int in defaults", ESource::Defaults);
    AddGet<double, SLayers>("Get, double in defaults", ESource::Defaults);
    AddGet<std::string, SLayers>("Get, string in defaults", ESource::Defaults);
    AddGet<int, SLayers>("Get, missing", ESource::Missing);
    AddGet<int, TMap>("two readers: static Get, int", ESource::Defaults, 2);
    AddGet<int, SLayers>("two readers: Get, int in overlay", ESource::Overlay, 2);
    AddGet<int, SLayers>("two readers: Get, int in defaults", ESource::Defaults, 2);
    AddGet<int, SLayers>("two readers: Get, missing", ESource::Missing, 2);
    AddSizes("static Exists", CompareExists<TMap>);
    AddSizes("Exists", CompareExists<SLayers>);
    AddSizes("static GetAllConfigKeys", CompareKeys<TMap>);
    AddSizes("GetAllConfigKeys", CompareKeys<SLayers>);
}

void AddFiles() {
    AddSizes("load", CompareLoad);
    AddSizes("Reload", CompareReload);
    AddSizes("Set, its text only", CompareText);
    AddSizes("Set on tmpfs", [](State& state) { CompareSet(state, tmpfsDirectory); });
    AddSizes("Set on disk", [](State& state) { CompareSet(state, diskDirectory); });
    AddSizes("journalled Set on disk", CompareJournalledSet);
    AddSizes("journalled Set against Set on disk", CompareSets);
    Add("Transact of 100 against journalled Set", CompareTransact)
        ->RangeMultiplier(10)
        ->Range(100, 10000);
    AddSizes("merge, nobody else wrote", CompareMerge);
    Add("HasChanged, idle", CompareHasChanged)->Arg(1000);
    Add("heap bytes a key", CompareHeap)->Iterations(1)->Arg(1000)->Arg(10000);
}

/// Creates the directories for configurations in the directory, and returns it as a root path.
std::string Root(const std::string& directory) {
    for (const char* const below : {"/etc/config", "/data/config"}) {
        std::filesystem::create_directories(directory + below);
    }
    return directory + "/";
}

}  // namespace

int main(int argc, char** argv) {
    try {
        benchmark::Initialize(&argc, argv);
        Require(argc == 3, "two directories are given");
        diskDirectory = Root(argv[1]);
        tmpfsDirectory = Root(argv[2]);
        benchmark::AddCustomContext("compiler", "g++ " __VERSION__);
        benchmark::AddCustomContext("jsoncpp", JSONCPP_VERSION_STRING);
        AddReads();
        AddFiles();
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
