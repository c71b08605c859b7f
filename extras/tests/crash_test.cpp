// SPDX-License-Identifier: MIT
// Power cuts and failing calls, at every step of a change.
#include <tamsel/extras/crash_safe_file_stream.h>

#include <array>
#include <climits>
#include <set>

#include "support/extras_support.h"

namespace {

using Tamsel::Extras::CSafeConfig;
using TStates = std::set<Json::Value>;

struct SChange {
    int line;
    const char* overlay;  // null: opening is part of the change
    std::function<void(CSafeConfig&)> change;
    const char* after;
    std::function<void(CSafeConfig&)> meanwhile = {};  // between opening and the change

    friend void PrintTo(const SChange& row, std::ostream* out) { *out << "line " << row.line; }
};

/// After a change, someone else removes the overlay and creates it again, often as the
/// same inode and, for `isAtOnce`, within a tick of the file system's clock.
void Remake(CSafeConfig& config, bool isAtOnce) {
    auto time = std::filesystem::last_write_time("data/config");
    if (!isAtOnce) std::filesystem::last_write_time("data/config", time - std::chrono::hours(1));
    config.Set("b", 2);
    std::filesystem::remove(Overlay);
    PutText(Overlay, "");
    if (isAtOnce) std::filesystem::last_write_time("data/config", time);
}

const std::string Long = R"({"a":")" + std::string(300, 'x') + "\"}";

const SChange Changes[] = {
    {__LINE__, nullptr, [](auto& c) { c.Set("a", 1); }, R"({"a":1})"},
    {__LINE__, R"({"a":1})", [](auto& c) { c.Set("a", 2); }, R"({"a":2})"},
    {__LINE__, R"({"a":1})", [](auto& c) { c.Set("a", Parse(Long)["a"]); }, Long.c_str()},
    {__LINE__, R"({"a":[1,2,3],"b":4})", [](auto& c) { c.Restore("a"); }, R"({"b":4})"},
    {__LINE__, R"({"a":1,"b":2})", [](auto& c) { c.Erase(); }, "{}"},
    {__LINE__, "{}", [](auto& c) { c.Transact([](auto& d) { d.Set("a", 3), d.Set("b", 4); }); },
     R"({"a":3,"b":4})"},
    {__LINE__, R"({"a":1})", [](auto& c) { c.Set("a", 3); }, R"({"a":3,"b":2})",
     [](auto&) { PutText(Overlay, R"({"a":1,"b":2})"); }},
    {__LINE__, "{}", [](auto& c) { c.Set("a", 3); }, R"({"a":3})",
     [](auto&) { PutText(Overlay, R"({"a)"); }},
    {__LINE__, R"({"a":1})", [](auto& c) { c.Set("a", 3); }, R"({"a":3})",
     [](auto& c) { Remake(c, true); }},
    {__LINE__, R"({"a":1})", [](auto& c) { c.Set("a", 3); }, R"({"a":3})",
     [](auto& c) { Remake(c, false); }},
};

/// What storage can contain of a file.
struct SFile {
    std::optional<std::string> text;
    std::string synchronized;
    bool isEntrySynchronized = true;

    bool operator<(const SFile& other) const {
        return std::tie(text, synchronized, isEntrySynchronized) <
               std::tie(other.text, other.synchronized, other.isEntrySynchronized);
    }
};
using TDisk = std::array<SFile, 2>;  // the overlay and its journal

void Apply(TDisk& disk, const SCall& call) {
    SFile& file = disk[call.path.find(".journal") == std::string::npos ? 0 : 1];
    if (call.name == "create") file = {"", "", false};
    if (call.name == "fdatasync") file.synchronized = *file.text;
    if (call.name == "ftruncate") file.text->resize(call.at);
    if (call.name == "fsync") disk[0].isEntrySynchronized = disk[1].isEntrySynchronized = true;
    if (call.name != "pwrite") return;
    file.text->resize(std::max(file.text->size(), call.at + call.data.size()));
    file.text->replace(call.at, call.data.size(), call.data);
}

/// Returns what can remain of a file: no entry, or bytes that were not synchronised missing,
/// truncated or zero.
std::set<std::optional<std::string>> RemainsOf(const SFile& file) {
    std::set<std::optional<std::string>> remains{file.text};
    if (!file.isEntrySynchronized) remains.insert(std::nullopt);
    if (!file.text || *file.text == file.synchronized) return remains;
    remains.insert("");
    for (const auto& [text, other] :
         {std::pair(*file.text, file.synchronized), std::pair(file.synchronized, *file.text)}) {
        for (std::size_t lost = 0; lost <= text.size();
             lost += lost == 0 ? 1 : text.size() / 6 + 1) {
            const std::string part = text.substr(0, text.size() - lost);
            remains.insert({part, part + other.substr(std::min(part.size(), other.size())),
                            part + std::string(lost, '\0')});
        }
    }
    return remains;
}

class Crash : public testing::TestWithParam<SChange> {
protected:
    void SetUp() override {
        std::filesystem::remove(Overlay);
        std::filesystem::remove(Journal);
        m_disk = {};
        const char* const overlay = GetParam().overlay;
        if (overlay == nullptr) return;
        PutText(Overlay, overlay);
        m_config = Open();
        m_disk = {SFile{overlay, overlay}, SFile{"", "", false}};
        if (!GetParam().meanwhile) return;
        GetParam().meanwhile(*m_config);
        m_disk[0] = {TextOf(Overlay), "", false};
    }

    /// Makes the change while the nth call fails, or all from that one on, then crashes at every
    /// step. Returns true if there was such a call.
    bool FailCall(int nth, int error, bool isLasting, int crashes) {
        SetUp();
        const Json::Value before = State();
        const Json::Value after = Parse(GetParam().after);
        const Json::Value values = m_config ? ValuesOf(*m_config) : Json::Value();
        const int descriptors = CountDescriptors();
        m_isOurs = m_disk[0].text.value_or("") == m_disk[0].synchronized;
        m_calls.clear();
        m_nth = nth, m_error = error, m_isLasting = isLasting;
        const std::string thrown =
            Thrown([&] { GetParam().change(m_config ? *m_config : *Open()); });
        const bool hasFailed = std::exchange(m_nth, INT_MAX) < 0;
        EXPECT_TRUE(thrown.empty() || error == EIO) << thrown;
        EXPECT_TRUE(State() == (thrown.empty() ? after : before) || isLasting) << State();
        EXPECT_TRUE(thrown.empty() || !m_config || ValuesOf(*m_config) == values);
        EXPECT_TRUE(isLasting || !Tamsel::Extras::IsInterrupted(Overlay));
        EXPECT_EQ(CountDescriptors(), descriptors);
        CrashEverywhere(m_disk, std::exchange(m_calls, {}), {before, after},
                        thrown.empty() ? TStates{after} : TStates{before, after}, crashes);
        return hasFailed;
    }

    /// Crashes before, between and after the calls, and restarts. After the last one, only `done`
    /// is expected.
    void CrashEverywhere(TDisk disk, const std::vector<SCall>& calls, const TStates& whole,
                         const TStates& done, int crashes) {
        for (std::size_t i = 0; i <= calls.size() && !HasFailure(); ++i) {
            m_isOurs = m_isOurs || (i < calls.size() && calls[i].name == "pwrite");
            const TStates& expected = i == calls.size() ? done : whole;
            if (m_isOurs) Restart(disk, expected, crashes - 1);  // after a kill
            for (const auto& overlay : RemainsOf(disk[0])) {
                for (const auto& journal : RemainsOf(disk[1])) {
                    const TDisk remains{SFile{overlay, overlay.value_or("")},
                                        SFile{journal, journal.value_or("")}};
                    if (m_isOurs) Restart(remains, expected, crashes - 1);
                }
            }
            if (i < calls.size()) Apply(disk, calls[i]);
        }
    }

    void Restart(const TDisk& disk, const TStates& whole, int crashes) {
        if (!m_seen.emplace(disk, whole, crashes).second) return;
        for (std::size_t i = 0; i < 2; ++i) {
            std::filesystem::remove(i == 0 ? Overlay : Journal);
            if (disk[i].text) PutText(i == 0 ? Overlay : Journal, *disk[i].text);
        }
        m_calls.clear();
        const bool isForBare = m_seen.size() % 2 == 0;
        Thrown([&] { isForBare ? (void)Tamsel::Extras::Recover(Overlay) : (void)Open(); });
        const Json::Value now = State();
        EXPECT_EQ(whole.count(now), 1)
            << now << testing::PrintToString(disk[0].text) << testing::PrintToString(disk[1].text);
        EXPECT_FALSE(Tamsel::Extras::IsInterrupted(Overlay));
        if (crashes > 0) CrashEverywhere(disk, std::exchange(m_calls, {}), whole, {now}, crashes);
    }

    /// Records what each call is permitted to do.
    int Answer(const SCall& call) {
        const bool isOther =
            call.name == "inotify_init1" || (m_error == DoLess && call.name != "pwrite");
        const bool hasFailed = !isOther && (m_nth-- == 0 || (m_isLasting && m_nth < 0));
        const int answer = hasFailed ? m_error : CHook::Fast(call);
        if (answer <= 0) m_calls.push_back(call);
        if (answer == DoLess) m_calls.back().data.resize((call.data.size() + 1) / 2);
        return answer;
    }

    const CTestDirectory m_directory;
    const CHook m_hook{[this](const SCall& call) { return Answer(call); }};
    int m_nth = INT_MAX, m_error = 0;
    bool m_isLasting = false;
    bool m_isOurs = false;  // what others did not synchronise can be lost
    std::vector<SCall> m_calls;
    std::shared_ptr<CSafeConfig> m_config;
    TDisk m_disk;
    std::set<std::tuple<TDisk, TStates, int>> m_seen;
};

TEST_P(Crash, PowerCutLeavesOldOrNew) {
    EXPECT_FALSE(FailCall(INT_MAX, 0, false, 2));
    RecordProperty("states", static_cast<int>(m_seen.size()));
}

TEST_P(Crash, FailedCallLeavesOldOrNew) {
    for (const auto& [error, isLasting] :
         {std::pair(EIO, false), {EIO, true}, {EINTR, false}, {DoLess, false}}) {
        for (int nth = 0; FailCall(nth, error, isLasting, 1); ++nth) {
            ASSERT_FALSE(HasFailure()) << "call " << nth << ", error " << error << isLasting;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, Crash, testing::ValuesIn(Changes),
                         [](const auto& row) { return "Line" + std::to_string(row.param.line); });

}  // namespace
