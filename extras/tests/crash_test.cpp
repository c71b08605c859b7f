// SPDX-License-Identifier: MIT
// Power cuts, refused calls and kills, at every place of a change.
#include <gtest/gtest.h>
#include <tamsel/extras/crash_safe_file_stream.h>

#include <array>
#include <climits>
#include <optional>
#include <set>
#include <vector>

#include "support/extras_support.h"

namespace {

using TCalls = std::vector<SCall>;
using TWhole = std::set<Json::Value>;  // the states that will do

/// A change, and what others did to the overlay file between `Open` and it.
struct SChange {
    int line;
    const char* overlay;  // none: opening is part of the change
    std::function<void(Tamsel::Extras::CSafeConfig&)> change;
    const char* after;
    std::function<void()> meanwhile = {};

    friend void PrintTo(const SChange& row, std::ostream* out) { *out << "line " << row.line; }
};

/// Another change, and then somebody else removes the overlay and creates it again: often as the
/// same inode, and within a tick of the clock.
void Remake() {
    Open()->Set("b", 2);
    const auto time = std::filesystem::last_write_time("data/config");
    std::filesystem::remove(Overlay);
    PutText(Overlay, "");
    std::filesystem::last_write_time("data/config", time);
}

const std::string Long = R"({"a":")" + std::string(300, 'x') + "\"}";

const SChange Changes[] = {
    {__LINE__, nullptr, [](auto& c) { c.Set("a", 1); }, R"({"a":1})"},
    {__LINE__, R"({"a":1})", [](auto& c) { c.Set("a", 2); }, R"({"a":2})"},
    {__LINE__, R"({"a":1})", [](auto& c) { c.Set("a", Parse(Long)["a"]); }, Long.c_str()},
    {__LINE__, R"({"a":[1,2,3],"b":4})", [](auto& c) { c.Restore("a"); }, R"({"b":4})"},
    {__LINE__, R"({"a":1,"b":2})", [](auto& c) { c.Erase(); }, "{}"},
    {__LINE__, R"({"a":1})",
     [](auto& c) { c.Transact([](auto& d) { d.Set("a", 3), d.Set("b", 4); }); },
     R"({"a":3,"b":4})"},
    {__LINE__, R"({"a":1})", [](auto& c) { c.Set("a", 3); }, R"({"a":3,"b":2})",
     [] { PutText(Overlay, R"({"a":1,"b":2})"); }},
    {__LINE__, R"({"a":1})", [](auto& c) { c.Set("a", 3); }, R"({"a":3})", Remake},
};

/// What storage may have of one file.
struct SFile {
    std::optional<std::string> text;
    std::string synchronized;
    bool isEntrySynchronized = true;
};
using TDisk = std::array<SFile, 2>;  // the overlay and its journal
using TState = std::array<std::optional<std::string>, 2>;

void Apply(TDisk& disk, const SCall& call) {
    if (call.name == "fsync") {
        for (SFile& file : disk) file.isEntrySynchronized = true;
        return;
    }
    SFile& file = disk[call.path.find(".journal") == std::string::npos ? 0 : 1];
    if (call.name == "create") file = {"", "", false};
    if (call.name == "fdatasync") file.synchronized = *file.text;
    if (call.name == "ftruncate") file.text->resize(call.at);
    if (call.name != "pwrite") return;
    file.text->resize(std::max(file.text->size(), call.at + call.data.size()));
    file.text->replace(call.at, call.data.size(), call.data);
}

/// Returns what may be left of a file: without its entry, or with bytes that were not synchronized
/// absent, cut or zero.
std::set<std::optional<std::string>> Remains(const SFile& file) {
    std::set<std::optional<std::string>> remains{file.text};
    if (!file.isEntrySynchronized) remains.insert(std::nullopt);
    if (!file.text || *file.text == file.synchronized) return remains;
    for (const auto& [text, other] :
         {std::pair(*file.text, file.synchronized), std::pair(file.synchronized, *file.text)}) {
        const std::size_t step = text.size() / 8 + 1;
        for (std::size_t left = 0; left < text.size() + step; left = left * step + 1) {
            const std::string part = text.substr(0, text.size() - std::min(left, text.size()));
            remains.insert({part, part + other.substr(std::min(part.size(), other.size())),
                            part + std::string(text.size() - part.size(), '\0')});
        }
    }
    return remains;
}

class CCrashTest : public testing::TestWithParam<SChange> {
protected:
    /// Crashes before, between and after the calls, and starts again. After a change that was
    /// reported as done, only `done` will do.
    void CrashEverywhere(TDisk disk, const TCalls& calls, const TWhole& whole, const TWhole& done,
                         int crashes) {
        // What others had not synchronized before the change is theirs to lose.
        bool isOurs = disk[0].text.value_or("") == disk[0].synchronized;
        for (std::size_t i = 0; i <= calls.size() && !HasFailure(); ++i) {
            isOurs = isOurs || (i < calls.size() && calls[i].name == "pwrite");
            for (const auto& overlay : Remains(disk[0])) {
                for (const auto& journal : Remains(disk[1])) {
                    const TWhole& expected = i == calls.size() ? done : whole;
                    if (isOurs) Restart({overlay, journal}, expected, crashes - 1);
                }
            }
            if (i < calls.size()) Apply(disk, calls[i]);
        }
    }

    void Restart(const TState& state, const TWhole& whole, int crashes) {
        if (!m_seen.emplace(state, whole).second) return;
        TDisk disk;
        for (const std::size_t i : {0, 1}) {
            disk[i] = {state[i], state[i].value_or("")};
            std::filesystem::remove(i == 0 ? Overlay : Journal);
            if (state[i]) PutText(i == 0 ? Overlay : Journal, *state[i]);
        }
        TCalls calls;
        Record(calls, Fast, [&] {
            const bool isForBare = m_seen.size() % 2 == 0;
            isForBare ? (void)Tamsel::Extras::Recover(Overlay) : (void)Open();
        });
        const Json::Value now = State();
        EXPECT_EQ(whole.count(now), 1) << now << " from " << testing::PrintToString(state);
        EXPECT_FALSE(Tamsel::Extras::IsInterrupted(Overlay));
        if (crashes > 0) CrashEverywhere(disk, calls, whole, {now}, crashes);
    }

    /// Works with a hook, and adds the calls as far as they are let.
    static void Record(TCalls& calls, const THook& hook, const std::function<void()>& work) {
        const CHooked hooked([&](const SCall& call) {
            const int answer = hook(call);
            if (answer <= 0) calls.push_back(call);
            if (answer == DoLess) calls.back().data.resize((call.data.size() + 1) / 2);
            return answer;
        });
        work();
    }

    void SetUp() override {
        const SChange& row = GetParam();
        std::filesystem::remove(Overlay);
        std::filesystem::remove(Journal);
        m_disk = {};
        if (row.overlay != nullptr) {
            PutText(Overlay, row.overlay);
            m_config = Open();
            m_disk = {SFile{row.overlay, row.overlay}, SFile{"", "", false}};
        }
        if (row.meanwhile) {
            row.meanwhile();
            m_disk[0] = {TextOf(Overlay), "", false};
        }
    }

    /// Makes the change with a call refused, or all from that one, and crashes everywhere inside.
    /// Returns whether there was one.
    bool Refuse(int nth, int error, bool isLasting, int crashes) {
        SetUp();
        const Json::Value before = State();
        const Json::Value answers = m_config ? Answers(*m_config) : Json::Value();
        const int descriptors = CountDescriptors();
        bool isDone = true;
        TCalls calls;
        const auto refuse = [&](const SCall& call) {
            const bool isOther = call.name == "inotify_init1" ||
                                 (error == DoLess && call.name != "pwrite") ||
                                 (error == EINTR && call.name == "stat");
            return !isOther && (nth-- == 0 || (isLasting && nth < 0)) ? error : Fast(call);
        };
        try {
            Record(calls, refuse, [&] { GetParam().change(m_config ? *m_config : *Open()); });
        } catch (const std::exception&) {
            isDone = false;
        }
        const Json::Value wanted = Parse(GetParam().after), after = isDone ? wanted : before;
        EXPECT_TRUE(isDone || error == EIO);
        EXPECT_TRUE(State() == after || (isLasting && !isDone)) << State();
        EXPECT_TRUE(isDone || !m_config || Answers(*m_config) == answers);
        EXPECT_EQ(CountDescriptors(), descriptors);
        CrashEverywhere(m_disk, calls, {before, wanted},
                        isDone ? TWhole{after} : TWhole{before, wanted}, crashes);
        return nth < 0;
    }

    const CTestFolder m_folder;
    const CHooked m_fast;
    std::shared_ptr<Tamsel::Extras::CSafeConfig> m_config;
    TDisk m_disk;
    std::set<std::pair<TState, TWhole>> m_seen;
};

TEST_P(CCrashTest, PowerCutLeavesOldOrNew) {
    EXPECT_FALSE(Refuse(INT_MAX, 0, false, 2));
    RecordProperty("states", static_cast<int>(m_seen.size()));
}

TEST_P(CCrashTest, RefusedCallLeavesOldOrNew) {
    for (const auto& [error, isLasting] :
         {std::pair(EIO, false), {EIO, true}, {EINTR, false}, {DoLess, false}}) {
        for (int nth = 0; Refuse(nth, error, isLasting, 1); ++nth) {
            ASSERT_FALSE(HasFailure())
                << "call " << nth << ", error " << error << ", " << isLasting;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, CCrashTest, testing::ValuesIn(Changes),
                         [](const auto& row) { return "Line" + std::to_string(row.param.line); });

}  // namespace
