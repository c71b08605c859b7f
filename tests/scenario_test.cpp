// SPDX-License-Identifier: MIT
// Plays the scenarios of tests/scenarios/: a call a line, and behind "=>" what it answers.
//
// A blank line begins a fresh world, a private folder with the files of the configuration "n". It
// is played again with documents in memory in their place, and must answer alike, unless the block
// begins with "disk" or "memory"; one that begins with "root" is played on disk, by root alone.
// `\n` and `\t` stand for the characters.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cxxabi.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <locale>
#include <set>
#include <sstream>

#include <tamsel/extras/memory_stream.h>
#include <tamsel/tamsel.h>

#include <tamsel/extras/memory_stream.h>
#include "support/process.h"
#include "support/refuse.h"
#include "support/temp_root.h"
#include "support/text.h"

using namespace Tamsel;
using Extras::CMemoryStream;

namespace {

struct SWorld {
    explicit SWorld(bool isMemory) : isInMemory(isMemory) {
        etc->path = "etc/config/n.json";
        data->path = "data/config/n.json";
    }

    const bool isInMemory;
    CTempRoot root;
    std::shared_ptr<CMemoryStream> etc = std::make_shared<CMemoryStream>();
    std::shared_ptr<CMemoryStream> data = std::make_shared<CMemoryStream>();
    std::shared_ptr<IReadOnlyConfig> held;  // what was opened last
    std::shared_ptr<IConfig> config;        // and can be changed
    std::shared_ptr<IFileStream> stream;
    std::string told;
    std::string misdeed;  // what the callback does beside
};

std::string YesNo(bool isYes) { return isYes ? "yes" : "no"; }

/// One typed answer for a key; `Exists` must agree on whether the type is right.
template <typename T>
std::string Answer(const IReadOnlyConfig& config, const std::string& key, EDataType type,
                   const char* typeName, const T& defaultValue) {
    std::ostringstream answer;
    answer.precision(17);
    try {
        answer << std::boolalpha << config.Get(key, defaultValue);
    } catch (const CTypeError& error) {
        EXPECT_EQ(error.what(), "Config option with key '" + key + "' is not a " + typeName);
        answer << "-";
    }
    const bool isOfType = config.Exists(key, EDataType::Any) && answer.str() != "-";
    EXPECT_EQ(config.Exists(key, type), isOfType) << key << " as " << typeName;
    EXPECT_FALSE(config.Exists(key, EDataType(9))) << key;
    return answer.str() + " ";
}

/// Every Get of a key, each with a default that no scenario's file holds.
std::string Ask(const IReadOnlyConfig& config, const std::string& key) {
    return Answer(config, key, EDataType::Bool, "Bool", true) +
           Answer(config, key, EDataType::Uint32, "Uint32", 91U) +
           Answer(config, key, EDataType::Uint64, "Uint64", 92ULL) +
           Answer(config, key, EDataType::Int32, "Int32", -93) +
           Answer(config, key, EDataType::Int64, "Int64", -94LL) +
           Answer(config, key, EDataType::Float, "Float", 9.5F) +
           Answer(config, key, EDataType::Double, "Double", 9.25) +
           Answer(config, key, EDataType::String, "String", std::string("none")) +
           OneLine(config.Get(key, Json::Value("none")));
}

void Set(IConfig& config, const std::string& type, const std::string& key,
         const std::string& text) {
    if (type == "Bool") config.Set(key, text == "true");
    if (type == "Uint32") config.Set(key, static_cast<unsigned int>(std::stoul(text)));
    if (type == "Uint64") config.Set(key, std::stoull(text));
    if (type == "Int32") config.Set(key, std::stoi(text));
    if (type == "Int64") config.Set(key, std::stoll(text));
    if (type == "Float") config.Set(key, std::stof(text));
    if (type == "Double") config.Set(key, std::stod(text));
    if (type == "String") config.Set(key, text);
    if (type == "Json") config.Set(key, Parse(text));
}

/// What the six helpers tell of a path, the write last.
std::string Survey(const std::string& path) {
    std::string content = "before";
    unsigned int size = 77;
    std::string told = Exists(path) ? "exists " : "no ";
    told += IsReadable(path) ? "r" : "-";
    told += IsReadWritable(path) ? "w" : "-";
    told += ReadFile(path, content) ? " '" + content + "'" : " unread" + content;
    told += GetSize(path, size) ? " size " + std::to_string(size) : size == 77 ? " unsized" : "?";
    return told + (WriteFile(path, "new") ? " written" : " refused");
}

std::string Measure(IInputFileStream& stream) {
    std::string content = "before";
    const std::string told = stream.Read(content) ? "'" + content + "' " : "unread" + content + " ";
    return told + std::to_string(stream.GetFileSize()) + " " + stream.GetPath();
}

/// What a shell command prints. It is another process to whoever watches.
std::string Shell(const std::string& command) {
    FILE* const pipe = popen(command.c_str(), "r");
    std::string output;
    for (int c = 0; (c = std::fgetc(pipe)) != EOF;) output += static_cast<char>(c);
    pclose(pipe);
    return output;
}

std::string Call(SWorld& world, const std::string& call);
std::string Play(SWorld& world, const std::string& call);

using TWords = std::istringstream;
using TOperation = std::function<std::string(SWorld&, TWords&)>;

std::string Word(TWords& words) {
    std::string word;
    words >> word;
    return word == "''" ? "" : word;
}

std::string Rest(TWords& words) {
    words >> std::ws;
    return {std::istreambuf_iterator<char>(words), {}};
}

std::string Text(const SWorld& world) {
    return world.isInMemory ? world.data->text : world.root.Text("data/config/n.json");
}

TOperation Put(const std::string& folder, std::shared_ptr<CMemoryStream> SWorld::*document) {
    return [=](SWorld& world, TWords& words) {
        (world.*document)->text = Rest(words);
        if (!world.isInMemory) world.root.Put(folder + "/config/n.json", (world.*document)->text);
        return "";
    };
}

/// The words of a call, each `''` an empty one; by default those of the private folder's files.
std::vector<std::string> Arguments(TWords& words) {
    std::vector<std::string> arguments;
    for (std::string word; words >> word;) arguments.push_back(word == "''" ? "" : word);
    return arguments.empty() ? std::vector<std::string>{"n", ""} : arguments;
}

/// Opens a configuration by the overload for so many arguments, with a callback or without.
std::string Open(SWorld& world, TWords& words) {
    const auto arguments = Arguments(words);
    const TChangeCallback tell = [&](const std::string& key, const Json::Value& value) {
        world.told += key + "=" + OneLine(value) + " ";
        if (!world.misdeed.empty()) Call(world, world.misdeed);
    };
    if (world.isInMemory) {
        world.config = std::make_shared<COverlayedConfig>(world.etc, world.data, tell);
    } else if (arguments.size() == 2) {
        world.config = Create(arguments[0], arguments[1], tell);
    } else {
        world.config = Create(arguments.at(0), arguments.at(1), arguments.at(2), tell);
    }
    world.held = world.config;
    return "";
}

std::string OpenUntold(SWorld& world, TWords& words) {
    const auto arguments = Arguments(words);
    if (arguments.size() == 1) world.config = Create(arguments[0]);
    if (arguments.size() == 2) world.config = Create(arguments[0], arguments[1]);
    if (arguments.size() == 3) world.config = Create(arguments[0], arguments[1], arguments[2]);
    world.held = world.config;
    return "";
}

std::string OpenStatic(SWorld& world, TWords& words) {
    const auto arguments = Arguments(words);
    if (world.isInMemory) world.held = std::make_shared<CStaticConfig>(world.etc);
    if (!world.isInMemory) world.held = CreateStaticOnly(arguments.at(0), arguments.at(1));
    return "";
}

std::string Keys(SWorld& world, TWords& /*words*/) {
    const auto keys = world.held->GetAllConfigKeys();
    std::string all;
    for (const auto& key : std::set<std::string>(keys.begin(), keys.end())) {
        all += Unquoted(OneLine(key)) + " ";
    }
    return all;
}

/// Plays a call with the call below it that is named refused, and tells what it called.
std::string Refuse(SWorld& world, TWords& words) {
    const std::string call = Word(words), error = Word(words);
    std::string answer;
    const std::string calls = CallsOf(call, error, [&] { answer = Play(world, Rest(words)); });
    return answer + (answer.empty() ? "" : " ") + "[" + calls + "]";
}

/// Plays a call while files cannot grow beyond a size, as on a full disk.
std::string Within(SWorld& world, TWords& words) {
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit room = {std::stoul(Word(words)), before.rlim_max};
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &room);
    std::string answer = Play(world, Rest(words));
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    return answer;
}

/// Plays a call as a real and an effective user, where root may become them.
TOperation As(uid_t real, uid_t effective) {
    return [=](SWorld& world, TWords& words) {
        const CAsUser user(real, effective);
        return Play(world, Rest(words));
    };
}

/// Sets "k" to arrays in arrays, so many levels of them.
std::string Nested(SWorld& world, TWords& words) {
    Json::Value value;
    for (int level = std::stoi(Word(words)); level > 0; --level) {
        Json::Value outer(Json::arrayValue);
        outer.append(std::exchange(value, {}));
        value = std::move(outer);
    }
    return world.config->Set("k", value), "";
}

/// Plays a call under a global locale with a decimal comma.
std::string Comma(SWorld& world, TWords& words) {
    struct SComma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
    };
    const std::locale before = std::locale::global({std::locale::classic(), new SComma});
    std::string answer = Play(world, Rest(words));
    std::locale::global(before);
    return answer;
}

const std::map<std::string, TOperation> Operations = {
    {"etc", Put("etc", &SWorld::etc)},
    {"data", Put("data", &SWorld::data)},
    {"open", Open},
    {"open-untold", OpenUntold},
    {"open-static", OpenStatic},
    {"Ask", [](auto& world, auto& words) { return Ask(*world.held, Rest(words)); }},
    {"Get", [](auto& world, auto& words) { return world.held->Get(Rest(words), std::string()); }},
    {"Exists", [](auto& world, auto& words) { return YesNo(world.held->Exists(Rest(words), {})); }},
    {"Keys", Keys},
    {"Set",
     [](auto& world, auto& words) {
         const std::string type = Word(words), key = Word(words);
         return Set(*world.config, type, key, Rest(words)), "";
     }},
    {"Restore", [](auto& world, auto& words) { return YesNo(world.config->Restore(Word(words))); }},
    {"Erase", [](auto& world, auto&) { return world.config->Erase(), ""; }},
    {"Reload", [](auto& world, auto&) { return world.config->Reload(), ""; }},
    {"HasChanged", [](auto& world, auto&) { return YesNo(world.config->HasChanged()); }},
    {"Size",
     [](auto& world, auto&) { return std::to_string(world.config->GetOverlayedFileSize()); }},
    {"told", [](auto& world, auto&) { return std::exchange(world.told, ""); }},
    {"line", [](auto& world, auto&) { return OneLine(Parse(Text(world))); }},
    {"text", [](auto& world, auto&) { return Text(world); }},
    {"counts",
     [](auto& world, auto&) {
         const auto of = [](auto& stream) {
             return std::to_string(stream->reads) + std::to_string(stream->writes) +
                    std::to_string(stream->paths);
         };
         return of(world.etc) + " " + of(world.data);
     }},
    {"survey", [](auto&, auto& words) { return Survey(Word(words)); }},
    {"input",
     [](auto&, auto& words) {
         CInputFileStream stream(Word(words));
         return Measure(stream);
     }},
    {"watch",
     [](auto& world, auto& words) {
         world.stream = std::make_shared<CFileStream>(Word(words));
         return Measure(*world.stream);
     }},
    {"changed", [](auto& world, auto&) { return YesNo(world.stream->HasChanged()); }},
    {"write", [](auto& world, auto& words) { return YesNo(world.stream->Write(Rest(words))); }},
    {"sh", [](auto&, auto& words) { return Shell(Rest(words)); }},
    {"nobody", As(Nobody, Nobody)},
    {"set-user-id", As(Nobody, 0)},
    {"misdeed", [](auto& world, auto& words) { return world.misdeed = Rest(words), ""; }},
    {"throw", [](auto&, auto&) -> std::string { throw std::runtime_error("thrown"); }},
    {"nested", Nested},
    {"comma", Comma},
    {"refused",
     [](auto& world, auto& words) {
         world.data->failNext = true;
         return Play(world, Rest(words));
     }},
    {"calls", Refuse},
    {"within", Within},
};

std::string Call(SWorld& world, const std::string& call) {
    TWords words(call);
    return Operations.at(Word(words))(world, words);
}

std::string Play(SWorld& world, const std::string& call) try {
    return Call(world, call);
} catch (const std::exception& error) {
    const std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(typeid(error).name(), nullptr, nullptr, nullptr), std::free);
    return std::string(name.get()) + ": " + error.what();
}

void PlayBlock(const std::vector<std::string>& block, bool isInMemory) {
    const long descriptors = CountDescriptors();
    {
        SWorld world(isInMemory);
        std::filesystem::create_directories(world.root.Path("data/config"));
        std::filesystem::current_path(world.root.Path());
        for (const std::string& line : block) {
            const std::size_t arrow = line.find("=>");
            const std::string call = line.substr(0, line.find_last_not_of(' ', arrow - 1) + 1);
            std::string answer = Play(world, call);
            answer.erase(answer.find_last_not_of(" \n") + 1);
            const std::string expected = arrow == std::string::npos ? "" : line.substr(arrow + 2);
            ASSERT_EQ(answer, expected.substr(std::min(expected.size(), std::size_t{1})))
                << line << (isInMemory ? " (in memory)" : " (on disk)");
        }
        const std::string overlay = world.root.Path("data/config/n.json");
        EXPECT_TRUE(!IsReadable(overlay) || IsUnlocked(overlay)) << block[0];
        std::filesystem::current_path("/");
    }
    EXPECT_EQ(CountDescriptors(), descriptors) << block[0];
}

template <typename T, typename = void>
constexpr bool IsOffered = false;
template <typename T>
constexpr bool IsOffered<T, std::void_t<decltype(JsonUtil::GetValueAsType<T>("", {}))>> = true;
static_assert(IsOffered<int> && IsOffered<Json::Value> && !IsOffered<long> && !IsOffered<char>);
static_assert(std::is_same_v<decltype(std::declval<IConfig&>().Get("k", "text")), bool>,
              "the headers warn of this, and would warn in vain");

class Scenario : public testing::TestWithParam<const char*> {};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);

TEST(ConfigFile, WorstFilesKnownEndInAMapOrAnError) {
    for (const auto& entry :
         std::filesystem::directory_iterator(TAMSEL_TEST_FOLDER "/fuzz/corpus")) {
        std::ifstream file(entry.path());
        const std::string text(std::istreambuf_iterator<char>(file), {});
        LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    }
}

TEST_P(Scenario, IsPlayed) {
    std::ifstream file(TAMSEL_TEST_FOLDER "/scenarios/" + std::string(GetParam()) + ".txt");
    std::vector<std::string> block;
    int blocks = 0;
    for (std::string line; std::getline(file, line) || !block.empty(); line.clear()) {
        if (!line.empty() && line[0] != '#') {
            block.push_back(Replaced(Replaced(line, "\\n", "\n"), "\\t", "\t"));
        } else if (line.empty() && !block.empty()) {
            const std::string place = block[0];
            const bool isMemory = place == "memory";
            const bool isDisk = place == "disk" || place == "root";
            if (isMemory || isDisk) block.erase(block.begin());
            if (!isMemory && (place != "root" || geteuid() == 0)) PlayBlock(block, false);
            if (!isDisk) PlayBlock(block, true);
            block.clear();
            ++blocks;
        }
    }
    EXPECT_GT(blocks, 0);
}

INSTANTIATE_TEST_SUITE_P(All, Scenario,
                         testing::Values("changes", "documents", "callbacks", "losses", "factories",
                                         "faults", "files", "layers", "refusals", "values",
                                         "watch"),
                         [](const auto& file) { return std::string(file.param); });
