// SPDX-License-Identifier: MIT
// Both stores, over streams in memory and over files, which must agree.
#include <tamsel/extras/memory_stream.h>

#include "support/fault_injection.h"
#include "support/test_support.h"

using namespace Tamsel;
using TKeys = std::unordered_set<std::string>;

namespace {

class Store : public testing::TestWithParam<bool> {
    const CTestDirectory m_directory;

    static std::shared_ptr<IFileStream> MakeStream(const std::string& name) {
        if (GetParam()) return std::make_shared<CFileStream>(name);
        return std::make_shared<Extras::CMemoryStream>();
    }

protected:
    void Open(const std::string& defaultsText, const std::string& overlayText) {
        defaults->Write(defaultsText);
        overlay->Write(overlayText);
        overlay->HasChanged();
        const auto notify = [this](auto& key, auto& value) {
            notified = key + "=" + value.toStyledString();
            if (callback) callback(*config);
        };
        config = std::make_shared<COverlayedConfig>(defaults, overlay, notify);
        notified.clear();
    }

    Json::Value Value(const std::string& key) { return config->Get(key, Json::Value("none")); }

    std::string OverlayText() {
        std::string text;
        return overlay->Read(text) ? text : "(none)";
    }

    const std::shared_ptr<IFileStream> defaults = MakeStream("defaults");
    const std::shared_ptr<IFileStream> overlay = MakeStream("overlay");
    std::shared_ptr<IConfig> config;
    std::string notified;                  // to the change callback
    void (*callback)(IConfig&) = nullptr;  // called by the callback
};

const char* const Values = R"({"null":null,"object":{"x":1},"false":false,"string":"5","-1":-1,
    "3.0":3.0,"0.1":0.1,"3e9":3000000000,"2^32":4294967296,"2^63":9223372036854775808,"1e39":1e39})";

/// What `Get` returns for each value of one type, and for a missing key; `Exists` must agree.
template <typename T>
std::string ValuesOf(const IReadOnlyConfig& config, EDataType type, const std::string& name,
                     const T& defaultValue) {
    std::ostringstream text;
    text.precision(17);
    text << std::boolalpha << config.Get("missing", defaultValue) << ' ';
    EXPECT_FALSE(config.Exists("missing", type));
    for (const std::string& key : Parse(Values).getMemberNames()) {
        const auto get = [&] { text << config.Get(key, defaultValue) << ' '; };
        const std::string error = Thrown(get);
        EXPECT_EQ(config.Exists(key, type), error.empty()) << key << " as " << name;
        const std::string message = "Config option with key '" + key + "' is not a " + name;
        EXPECT_TRUE(error.empty() || error == "Tamsel::CTypeError: " + message) << error;
    }
    return text.str();
}

void ExpectEachType(const IReadOnlyConfig& config) {
    EXPECT_EQ(ValuesOf(config, EDataType::Bool, "Bool", true), "true false ");
    EXPECT_EQ(ValuesOf(config, EDataType::Uint32, "Uint32", 1U), "1 3 3000000000 ");
    EXPECT_EQ(ValuesOf(config, EDataType::Uint64, "Uint64", 2ULL),
              "2 4294967296 9223372036854775808 3 3000000000 ");
    EXPECT_EQ(ValuesOf(config, EDataType::Int32, "Int32", -3), "-3 -1 3 ");
    EXPECT_EQ(ValuesOf(config, EDataType::Int64, "Int64", -4LL), "-4 -1 4294967296 3 3000000000 ");
    EXPECT_EQ(ValuesOf(config, EDataType::Float, "Float", 5.5F),
              "5.5 -1 0.10000000149011612 inf 4294967296 9.2233720368547758e+18 3 3000000000 ");
    EXPECT_EQ(ValuesOf(config, EDataType::Double, "Double", 6.5),
              "6.5 -1 0.10000000000000001 9.9999999999999994e+38 4294967296 "
              "9.2233720368547758e+18 3 3000000000 ");
    EXPECT_EQ(ValuesOf<std::string>(config, EDataType::String, "String", "none"), "none 5 ");
    EXPECT_FALSE(config.Exists("3.0", EDataType(9)));
    EXPECT_TRUE(config.Exists("null", EDataType::Any));
    EXPECT_FALSE(config.Exists("missing", EDataType::Any));
    EXPECT_EQ(config.Get("object", Json::Value()), Parse(R"({"x":1})"));
    EXPECT_EQ(config.Get("missing", Json::Value("none")), "none");
}

void Get(IConfig& config) { config.Get("k", 0); }
void Exists(IConfig& config) { config.Exists("k", EDataType::Any); }
void GetKeys(IConfig& config) { config.GetAllConfigKeys(); }
void Set(IConfig& config) { config.Set("k", 2); }
void Restore(IConfig& config) { config.Restore("k"); }
void Erase(IConfig& config) { config.Erase(); }
void Reload(IConfig& config) { config.Reload(); }
void HasChanged(IConfig& config) { config.HasChanged(); }
void GetSize(IConfig& config) { config.GetOverlayedFileSize(); }
void CreateNew(IConfig& /*config*/) { Create("new", ""); }

const struct {
    int line;
    const char *defaults, *overlay;
    std::function<void(IConfig&)> change;
    const char* after;  // the overlay file afterwards; empty if not written
} Changes[] = {
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", true); }, R"({"k":true})"},
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", ~0ULL); }, R"({"k":18446744073709551615})"},
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", -(1LL << 40)); }, R"({"k":-1099511627776})"},
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", 0.1F); }, R"({"k":0.10000000149011612})"},
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", 0.5); }, R"({"k":0.5})"},
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", std::string("x")); }, R"({"k":"x"})"},
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", Json::Value()); }, R"({"k":null})"},
    // An equal default or override is no change. Equality is jsoncpp's.
    {__LINE__, R"({"k":5})", "", [](IConfig& c) { c.Set("k", 5); }, ""},
    {__LINE__, R"({"k":5})", "", [](IConfig& c) { c.Set("k", 5U); }, R"({"k":5})"},
    {__LINE__, R"({"k":0.5})", "", [](IConfig& c) { c.Set("k", 0.5F); }, ""},
    {__LINE__, R"({"k":5})", R"({"k":6})", [](IConfig& c) { c.Set("k", 6); }, ""},
    {__LINE__, R"({"k":5})", R"({"k":6})", [](IConfig& c) { c.Set("k", 5); }, R"({"k":5})"},
    {__LINE__, "", R"({"k":5,"":1})", [](IConfig& c) { c.Set("k", 5U); }, R"({"k":5,"":1})"},
    {__LINE__, "", R"({"k":6,"z":1})", [](IConfig& c) { EXPECT_TRUE(c.Restore("k")); },
     R"({"z":1})"},
    {__LINE__, "", R"({"k":6})", [](IConfig& c) { EXPECT_FALSE(c.Restore("z")); }, ""},
    {__LINE__, "", R"({"k":6,"z":1})", [](IConfig& c) { c.Erase(); }, "null"},
    {__LINE__, "", "", [](IConfig& c) { c.Erase(); }, "null"},
};

static_assert(std::is_same_v<decltype(std::declval<IConfig&>().Get("k", "text")), bool>,
              "the pitfall that the headers warn of");

}  // namespace

TEST_P(Store, ReturnsAValueAsEachTypeWhoseRangeContainsIt) {
    Open(Values, R"({"z":1})");
    ExpectEachType(*config);
    ExpectEachType(CStaticConfig(defaults));
    Open(R"({"3.0":"hidden"})", Values);
    ExpectEachType(*config);
}

TEST_P(Store, ReturnsTheValueOfTheOverlayFirst) {
    Open(R"({"k":1,"a":null})", R"({"k":3,"b":null})");
    EXPECT_EQ(Value("k"), 3);
    EXPECT_EQ(Value("a"), Json::Value());
    EXPECT_EQ(config->GetAllConfigKeys(), (TKeys{"k", "a", "b"}));
    EXPECT_EQ(CStaticConfig(defaults).GetAllConfigKeys(), (TKeys{"k", "a"}));
}

TEST_P(Store, WritesAndReportsEffectiveChangesOnly) {
    for (const auto& row : Changes) {
        const testing::ScopedTrace trace(__FILE__, row.line, "this change");
        Open(row.defaults, row.overlay);
        row.change(*config);
        const bool isWritten = *row.after != '\0';
        EXPECT_EQ(config->HasChanged(), isWritten);
        EXPECT_EQ(Parse(OverlayText()), Parse(isWritten ? row.after : row.overlay));
        const Json::Value value = Parse(row.after)["k"];
        EXPECT_EQ(notified, Parse(row.after).isMember("k") ? "k=" + value.toStyledString() : "");
    }
}

TEST_P(Store, ReloadsTheOverlayOnly) {
    Open(R"({"k":1})", R"({"k":2})");
    defaults->Write(R"({"k":9})");
    overlay->Write(R"({"k":  3})");
    EXPECT_EQ(Value("k"), 2);
    EXPECT_EQ(config->GetOverlayedFileSize(), 9U);
    config->Reload();
    EXPECT_EQ(Value("k"), 3);
    overlay->Write(R"({"k":)");
    EXPECT_THROW(config->Reload(), CInvalidConfig);
    overlay->Write("[1]");
    EXPECT_THROW(config->Reload(), Json::LogicError);
    EXPECT_EQ(Value("k"), 3);
    overlay->Write("");
    config->Reload();
    EXPECT_EQ(Value("k"), 1);
    EXPECT_EQ(notified, "");
}

TEST_P(Store, OverwritesChangesOfOthersUnlessReloaded) {
    Open("", "");
    overlay->Write("{\n// kept\n\"theirs\":1,\n// lost\n\"ours\":1}");
    config->Reload();
    config->Set("ours", 2);
    EXPECT_EQ(OverlayText(), "{\n\t\"ours\" : 2,\n\t// kept\n\t\"theirs\" : 1\n}");
    overlay->Write("{\"new\" : 1}");
    config->Set("ours", 3);
    EXPECT_EQ(OverlayText(), "{\n\t\"ours\" : 3,\n\t// kept\n\t\"theirs\" : 1\n}");
}

TEST_P(Store, KeepsAChangeInMemoryWhenItsCallbackThrows) {
    Open("", "");
    int last = 0;
    for (const auto call : {Get, Exists, GetKeys, Set, Restore, Erase, Reload}) {
        callback = call;
        EXPECT_EQ(Thrown([&] { config->Set("last", ++last); }),
                  "std::system_error: Resource deadlock avoided");
        EXPECT_EQ(Value("last"), last);
        EXPECT_EQ(OverlayText(), "");
    }
    callback = HasChanged;
    config->Set("next", 1);
    EXPECT_EQ(OverlayText(), "{\n\t\"last\" : 7,\n\t\"next\" : 1\n}");
}

namespace {

const char* const All = "wrlock fopen lock ftruncate fwrite fflush fsync unlock fclose rwunlock";
const char* const Old = "{\"k\":1}";
const char* const New = "{\n\t\"k\" : 2\n}";
const char* const Unwritten =
    "Tamsel::CInvalidConfig: Failed to write config file 'data/config/n.json'";

const struct {
    int line, value;  // value: of "k" afterwards
    void (*call)(IConfig&);
    const char *failing, *calls, *text, *thrown;
} Faults[] = {
    {__LINE__, 1, Get, "", "rdlock rwunlock", Old, ""},
    {__LINE__, 1, Exists, "", "rdlock rwunlock", Old, ""},
    {__LINE__, 1, GetKeys, "", "wrlock rwunlock", Old, ""},
    {__LINE__, 2, Set, "", All, New, ""},
    {__LINE__, 2, Set, "fopen", "wrlock fopen rwunlock", Old, Unwritten},
    {__LINE__, 2, Set, "lock", "wrlock fopen lock fclose rwunlock", Old, Unwritten},
    {__LINE__, 2, Set, "ftruncate", "wrlock fopen lock ftruncate unlock fclose rwunlock", Old,
     Unwritten},
    {__LINE__, 2, Set, "fwrite", All, "{\n\t\"k\"", Unwritten},
    {__LINE__, 2, Set, "fflush", All, New, ""},
    {__LINE__, 2, Set, "fsync", All, New, ""},
    {__LINE__, 2, Set, "unlock", All, New, ""},
    {__LINE__, 2, Set, "fclose", All, New, ""},
    {__LINE__, 0, Restore, "", All, "null", ""},
    {__LINE__, 0, Restore, "fopen", "wrlock fopen rwunlock", Old, Unwritten},
    {__LINE__, 0, Erase, "", All, "null", ""},
    {__LINE__, 0, Erase, "fopen", "wrlock fopen rwunlock", Old, Unwritten},
    {__LINE__, 1, Reload, "", "wrlock fopen read read fclose rwunlock", Old, ""},
    {__LINE__, 0, Reload, "fopen", "wrlock fopen rwunlock", Old, ""},
    {__LINE__, 1, HasChanged, "", "read read", Old, ""},
    {__LINE__, 1, HasChanged, "read", "read", Old,
     "Tamsel::CInotifyHandlingError: Failed reading inotify"},
    {__LINE__, 1, GetSize, "fopen", "fopen", Old,
     "Tamsel::CAccessDenied: Failed to access file 'data/config/n.json'."},
    {__LINE__, 1, CreateNew, "",
     "fopen fclose inotify_init add_watch fopen fopen read fclose rm_watch", Old, ""},
    {__LINE__, 1, CreateNew, "fopen", "fopen", Old,
     "Tamsel::CAccessDenied: Failed to create file 'data/config/new.json'."},
    {__LINE__, 1, CreateNew, "inotify_init", "fopen fclose inotify_init", Old,
     "Tamsel::CInotifyHandlingError: Failed to init inotify"},
    {__LINE__, 1, CreateNew, "add_watch", "fopen fclose inotify_init add_watch", Old,
     "Tamsel::CInotifyHandlingError: Failed set watch on data/config/new.json"},
};

}  // namespace

TEST(Faults, LeaveMemoryFileAndLocksConsistent) {
    for (const auto& row : Faults) {
        const testing::ScopedTrace trace(__FILE__, row.line, row.failing);
        const CTestDirectory directory;
        PutText("data/config/n.json", Old);
        const auto config = Create("n", "");
        PutText("data/config/n.json", Old);  // a notification
        const SRun run = InjectFault([&] { row.call(*config); }, row.failing, EIO);
        EXPECT_EQ(run.thrown, row.thrown);
        EXPECT_EQ(run.calls, row.calls);
        EXPECT_EQ(TextOf("data/config/n.json"), row.text);
        EXPECT_EQ(config->Get("k", 0), row.value);
        config->Set("k", 3);
        EXPECT_EQ(TextOf("data/config/n.json"), "{\n\t\"k\" : 3\n}");
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, Store, testing::Bool(), [](const auto& isOnDisk) {
    return std::string(isOnDisk.param ? "OnDisk" : "InMemory");
});
