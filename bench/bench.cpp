// SPDX-License-Identifier: MIT

/// \file
/// Every operation beside its floor: each benchmark does both in turn and gives the medians as the
/// counters `floor` and `ours`, in nanoseconds an operation, and `ratio`. A wrong answer ends the
/// program with an error.
///
/// Usage: tamsel_bench [options of Google Benchmark] DISK_FOLDER TMPFS_FOLDER

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <tamsel/tamsel.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <iostream>

#include <json/version.h>

#include "floor.h"
#include "sample.h"
#include "witness.h"

namespace {

using benchmark::State;
using Floor::SLayers, Floor::TKeys, Floor::TMap;
using Sample::ERoad;

std::string diskFolder;
std::string tmpfsFolder;

void Require(bool isRight, const char* claim) {
    if (!isRight) throw std::logic_error(std::string("Not so: ") + claim);
}

double Median(std::vector<double>& figures) {
    const auto middle = figures.begin() + static_cast<std::ptrdiff_t>(figures.size() / 2);
    std::nth_element(figures.begin(), middle, figures.end());
    return *middle;
}

/// Gives the seconds that the work takes.
template <typename TWork>
double Time(const TWork& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// Gives the mean of the seconds that each takes when both run at once.
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

/// Runs both sides in turn, so that each finds the caches as the other left them. A side gives the
/// seconds that `count` operations took.
template <typename TFloor, typename TOurs>
void Compare(State& state, std::size_t count, const TFloor& floor, const TOurs& ours) {
    std::vector<double> floors;
    std::vector<double> all;
    std::vector<double> ratios;
    for (auto _ : state) {
        floors.push_back(floor());
        all.push_back(ours());
        ratios.push_back(all.back() / floors.back());
        state.SetIterationTime(floors.back() + all.back());
    }
    const double nanoseconds = 1e9 / static_cast<double>(count);
    state.counters["floor"] = Median(floors) * nanoseconds;
    state.counters["ours"] = Median(all) * nanoseconds;
    state.counters["ratio"] = Median(ratios);
}

std::string OverlayPath(const std::string& root, const std::string& name) {
    return root + "data/config/" + name + ".json";
}

/// Gives the text of the file, after writing it.
std::string WriteMap(const std::string& path, const TMap& map) {
    std::string text = Floor::Print(Sample::ToJson(map));
    Require(Tamsel::WriteFile(path, text), "the sample can be written");
    return text;
}

int KeyCount(const State& state) { return static_cast<int>(state.range(0)); }

using TConfig = std::shared_ptr<Tamsel::IReadOnlyConfig>;

/// Gives the sample as the library holds it, and puts into `map` what its floor holds.
TConfig Open(const Sample::SMaps& maps, TMap& map) {
    const std::string text = WriteMap(tmpfsFolder + "etc/config/sample.json", maps.defaults);
    map = Sample::ToMap(Floor::Parse(text));
    return Tamsel::CreateStaticOnly("sample", tmpfsFolder);
}

TConfig Open(const Sample::SMaps& maps, SLayers& layers) {
    const std::string text = WriteMap(OverlayPath(tmpfsFolder, "sample"), maps.overlay);
    (void)Open(maps, layers.defaults);
    layers.overlay = Sample::ToMap(Floor::Parse(text));
    return Tamsel::Create("sample", tmpfsFolder);
}

/// Walks the keys of one type on one road, in one thread or two.
template <typename T, typename TStore>
void CompareGet(State& state, ERoad road, int readers) {
    const T missing{};
    const Sample::SMaps maps(KeyCount(state));
    const Sample::CWalk walk(maps, road, missing);
    TStore store;
    const TConfig config = Open(maps, store);
    const auto bare = [&](const TKeys& keys) {
        Require(Floor::Get(store, keys, missing) == walk.Sum(), "the floor answers right");
    };
    const auto ours = [&](const TKeys& keys) {
        double sum = 0;
        for (const std::string* const key : keys) sum += Floor::Weigh(config->Get(*key, missing));
        Require(sum == walk.Sum(), "Get answers right");
    };
    const auto time = [&](const auto& get) {
        if (readers == 1) return Time([&] { get(walk.Keys()); });
        return TimeBoth([&] { get(walk.Keys()); }, [&] { get(walk.OtherOrder()); });
    };
    Compare(
        state, walk.Keys().size(), [&] { return time(bare); }, [&] { return time(ours); });
}

/// Must give a ratio of 1, or the figures of the other rows mean nothing.
void CompareFloor(State& state) {
    const Sample::SMaps maps(KeyCount(state));
    const Sample::CWalk walk(maps, ERoad::Defaults, 0);
    TMap map;
    (void)Open(maps, map);
    TMap sameMap;
    (void)Open(maps, sameMap);
    const auto time = [&](const TMap& asked) {
        return Time([&] {
            Require(Floor::Get(asked, walk.Keys(), 0) == walk.Sum(), "the floor answers right");
        });
    };
    Compare(
        state, walk.Keys().size(), [&] { return time(map); }, [&] { return time(sameMap); });
}

template <typename TStore>
void CompareExists(State& state) {
    const Sample::SMaps maps(KeyCount(state));
    const Sample::CWalk walk(maps, ERoad::Overlay, 0);
    TStore store;
    const TConfig config = Open(maps, store);
    const auto all = static_cast<double>(walk.Keys().size());
    const auto bare = [&] {
        Require(Floor::Exists(store, walk.Keys()) == all, "the floor finds every key");
    };
    const auto ours = [&] {
        double count = 0;
        for (const std::string* const key : walk.Keys()) {
            count += config->Exists(*key, Tamsel::EDataType::Int32) ? 1 : 0;
        }
        Require(count == all, "Exists finds every key");
    };
    Compare(
        state, walk.Keys().size(), [&] { return Time(bare); }, [&] { return Time(ours); });
}

template <typename TStore>
void CompareKeys(State& state) {
    const Sample::SMaps maps(KeyCount(state));
    TStore store;
    const TConfig config = Open(maps, store);
    Require(config->GetAllConfigKeys() == Floor::GetAllConfigKeys(store), "every key is given");
    Compare(
        state, 1, [&] { return Time([&] { (void)Floor::GetAllConfigKeys(store); }); },
        [&] { return Time([&] { (void)config->GetAllConfigKeys(); }); });
}

void CompareLoad(State& state) {
    const Sample::SMaps maps(KeyCount(state));
    const std::string text = WriteMap(tmpfsFolder + "etc/config/load.json", maps.defaults);
    TConfig config;
    const auto ours = [&] {
        config = nullptr;  // let the former one go outside of the measured time
        return Time([&] { config = Tamsel::CreateStaticOnly("load", tmpfsFolder); });
    };
    Compare(
        state, 1, [&] { return Time([&] { (void)Floor::Parse(text); }); }, ours);
    Require(config->GetAllConfigKeys().size() == maps.defaults.size(), "every key is loaded");
}

void CompareReload(State& state) {
    const Sample::SMaps maps(KeyCount(state));
    const std::string text = WriteMap(OverlayPath(tmpfsFolder, "reload"), maps.defaults);
    const auto config = Tamsel::Create("reload", tmpfsFolder);
    Compare(
        state, 1, [&] { return Time([&] { (void)Floor::Parse(text); }); },
        [&] { return Time([&] { config->Reload(); }); });
    Require(config->GetAllConfigKeys().size() == maps.defaults.size(), "every key is loaded");
}

/// A document in memory: what a change costs before it reaches a file.
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
        state, 1, [&] { return Time([&] { (void)Floor::Print(root); }); },
        [&] { return Time([&] { Tamsel::JsonUtil::WriteConfig(stream, map); }); });
    Require(stream->text == Floor::Print(root), "the text is jsoncpp's");
}

/// Gives the seconds of one write, which must lock and synchronise the file.
template <typename TWrite>
double TimeWrite(const TWrite& write) {
    const unsigned int before = Witness::LockedSyncs();
    const double seconds = Time(write);
    Require(Witness::LockedSyncs() == before + 1, "the file is locked and synchronised");
    return seconds;
}

void CompareSet(State& state, const std::string& root) {
    const Sample::SMaps maps(KeyCount(state));
    const std::string path = OverlayPath(root, "set");
    const std::string barePath = OverlayPath(root, "bare");
    int value = 1000000;
    TMap map = maps.defaults;
    map[Sample::IntKey] = value;
    const std::string text = WriteMap(path, map);
    const auto config = Tamsel::Create("set", root);
    Compare(
        state, 1, [&] { return TimeWrite([&] { Floor::Write(barePath, text); }); },
        [&] { return TimeWrite([&] { config->Set(Sample::IntKey, ++value); }); });
    std::string bareText;
    std::string ourText;
    Require(Tamsel::ReadFile(barePath, bareText) && bareText == text, "the floor writes all");
    map[Sample::IntKey] = value;
    Require(Tamsel::ReadFile(path, ourText) && Floor::Parse(ourText) == Sample::ToJson(map) &&
                ourText.size() == text.size(),
            "Set writes as many bytes, and the new value");
}

void CompareHasChanged(State& state) {
    constexpr int Count = 1000;
    const std::string path = OverlayPath(tmpfsFolder, "watch");
    const auto config = Tamsel::Create("watch", tmpfsFolder);
    const Floor::CWatch watch(path);
    (void)config->HasChanged();
    const auto idle = [](const auto& hasChanged) {
        return Time([&] {
            for (int i = 0; i < Count; ++i) Require(!hasChanged(), "an idle file has not changed");
        });
    };
    Compare(
        state, Count, [&] { return idle([&] { return watch.HasChanged(); }); },
        [&] { return idle([&] { return config->HasChanged(); }); });
    Require(Tamsel::WriteFile(path, "{}") && config->HasChanged(), "a change is told");
}

/// Not time but bytes: the heap that a key takes, malloc's own part included.
void CompareHeap(State& state) {
    const Sample::SMaps maps(KeyCount(state));
    const std::string text = WriteMap(tmpfsFolder + "etc/config/heap.json", maps.defaults);
    const auto perKey = [&](const auto& load) {
        const auto before = static_cast<double>(mallinfo2().uordblks);
        const auto kept = load();
        return (static_cast<double>(mallinfo2().uordblks) - before) / KeyCount(state) / 1e9;
    };
    Compare(
        state, 1, [&] { return perKey([&] { return Sample::ToMap(Floor::Parse(text)); }); },
        [&] { return perKey([] { return Tamsel::CreateStaticOnly("heap", tmpfsFolder); }); });
}

template <typename TBody>
benchmark::internal::Benchmark* Add(const std::string& name, const TBody& body) {
    return benchmark::RegisterBenchmark(name.c_str(), body)->UseManualTime();
}

/// For each number of keys.
template <typename TBody>
void AddSizes(const std::string& name, const TBody& body) {
    Add(name, body)->RangeMultiplier(10)->Range(10, 10000);
}

template <typename T, typename TStore>
void AddGet(const std::string& name, ERoad road, int readers = 1) {
    AddSizes(name, [=](State& state) { CompareGet<T, TStore>(state, road, readers); });
}

void AddReads() {
    AddSizes("floor against itself", CompareFloor);
    AddGet<int, TMap>("static Get, int", ERoad::Defaults);
    AddGet<double, TMap>("static Get, double", ERoad::Defaults);
    AddGet<std::string, TMap>("static Get, string", ERoad::Defaults);
    AddGet<int, TMap>("static Get, missing", ERoad::Missing);
    AddGet<int, SLayers>("Get, int in overlay", ERoad::Overlay);
    AddGet<double, SLayers>("Get, double in overlay", ERoad::Overlay);
    AddGet<std::string, SLayers>("Get, string in overlay", ERoad::Overlay);
    AddGet<int, SLayers>("Get, int in defaults", ERoad::Defaults);
    AddGet<double, SLayers>("Get, double in defaults", ERoad::Defaults);
    AddGet<std::string, SLayers>("Get, string in defaults", ERoad::Defaults);
    AddGet<int, SLayers>("Get, missing", ERoad::Missing);
    AddGet<int, TMap>("two readers: static Get, int", ERoad::Defaults, 2);
    AddGet<int, SLayers>("two readers: Get, int in overlay", ERoad::Overlay, 2);
    AddGet<int, SLayers>("two readers: Get, int in defaults", ERoad::Defaults, 2);
    AddGet<int, SLayers>("two readers: Get, missing", ERoad::Missing, 2);
    AddSizes("static Exists", CompareExists<TMap>);
    AddSizes("Exists", CompareExists<SLayers>);
    AddSizes("static GetAllConfigKeys", CompareKeys<TMap>);
    AddSizes("GetAllConfigKeys", CompareKeys<SLayers>);
}

void AddFiles() {
    AddSizes("load", CompareLoad);
    AddSizes("Reload", CompareReload);
    AddSizes("Set, its text only", CompareText);
    AddSizes("Set on tmpfs", [](State& state) { CompareSet(state, tmpfsFolder); });
    AddSizes("Set on disk", [](State& state) { CompareSet(state, diskFolder); });
    Add("HasChanged, idle", CompareHasChanged)->Arg(1000);
    Add("heap bytes a key", CompareHeap)->Iterations(1)->Arg(1000)->Arg(10000);
}

/// Gives the folder as a root path, with room for configurations below it.
std::string Root(const std::string& folder) {
    for (const char* const below : {"/etc/config", "/data/config"}) {
        std::filesystem::create_directories(folder + below);
    }
    return folder + "/";
}

}  // namespace

int main(int argc, char** argv) {
    try {
        benchmark::Initialize(&argc, argv);
        Require(argc == 3, "two folders are named");
        diskFolder = Root(argv[1]);
        tmpfsFolder = Root(argv[2]);
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
