// SPDX-License-Identifier: MIT
#include <tamsel/extras/config_watcher.h>

#include <sys/epoll.h>
#include <sys/timerfd.h>

#include <chrono>
#include <utility>

#include <tamsel/errors.h>

#include "document_text.h"
#include "folder_watch.h"
#include "journal.h"
#include "safe_config.h"
#include "system.h"

namespace Tamsel::Extras {

namespace {

using TClock = std::chrono::steady_clock;
using TMilliseconds = std::chrono::milliseconds;
using TChange = CConfigWatcher::SChange;

constexpr TMilliseconds QuietTime{200};
constexpr TMilliseconds RetryTime{1000};
constexpr TMilliseconds LockTime{10};

void RequireDescriptor(const CDescriptor& descriptor) {
    if (descriptor.Get() < 0) throw CInotifyHandlingError("Failed to init inotify");
}

/// A descriptor that becomes readable once, after a while.
class CTimer {
public:
    CTimer() : m_timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
        RequireDescriptor(m_timer);
    }

    int Descriptor() const { return m_timer.Get(); }

    void Start(TMilliseconds delay) const {
        itimerspec times{};
        times.it_value.tv_sec = static_cast<time_t>(delay.count() / 1000);
        times.it_value.tv_nsec = static_cast<long>(delay.count() % 1000 * 1000000);
        (void)timerfd_settime(m_timer.Get(), 0, &times, nullptr);  // fails for bad arguments only
    }

    /// Also takes the expiration, so that the descriptor is not readable any more.
    void Stop() const { Start(TMilliseconds(0)); }

private:
    const CDescriptor m_timer;
};

/// \throws std::bad_cast `config` does not come from `Open`
CSafeConfigImpl& ImplementationOf(CSafeConfig& config) {
    return dynamic_cast<CSafeConfigImpl&>(config);
}

/// Returns what `Get` answers, by key.
TConfigMap Answers(const IReadOnlyConfig& config) {
    TConfigMap answers;
    for (const std::string& key : config.GetAllConfigKeys()) {
        answers[key] = config.Get(key, Json::Value());
    }
    return answers;
}

std::optional<Json::Value> Find(const TConfigMap& map, const std::string& key) {
    const auto found = map.find(key);
    return found != map.end() ? std::optional(found->second) : std::nullopt;
}

std::vector<TChange> Differences(const TConfigMap& before, const TConfigMap& after) {
    TConfigMap either = before;
    either.insert(after.begin(), after.end());
    std::vector<TChange> changes;
    for (const auto& [key, value] : either) {
        TChange change{key, Find(before, key), Find(after, key)};
        if (change.before != change.after) changes.push_back(std::move(change));
    }
    return changes;
}

TConfigMap ReadDefaults(const std::string& path) { return ParseText(ReadDefaultsFile(path), path); }

}  // namespace

class CConfigWatcher::CImpl {
public:
    CImpl(const std::string& path, TConfigMap defaults)
        : m_path(path), m_defaults(std::move(defaults)), m_values(m_defaults), m_watch(m_path) {
        RequireDescriptor(m_epoll);
        (void)m_watch.Take();  // throws where inotify is not available
        for (const int descriptor : {m_watch.Descriptor(), m_timer.Descriptor()}) {
            epoll_event event{};
            event.events = EPOLLIN;
            const int result = epoll_ctl(m_epoll.Get(), EPOLL_CTL_ADD, descriptor, &event);
            if (result != 0) throw CInotifyHandlingError("Failed to init inotify");
        }
        m_timer.Start(TMilliseconds(1));
    }

    void Follow(const std::shared_ptr<IConfig>& config) {
        m_values = Answers(*config);
        m_config = config;
    }

    int Descriptor() const { return m_epoll.Get(); }
    const TConfigMap& Values() const { return m_values; }
    const std::string& Problem() const { return m_problem; }

    std::vector<SChange> Changes() {
        m_timer.Stop();
        (void)IsQuietSinceLastLook();
        std::vector<SChange> changes;
        const bool isDone = !m_isPending || Look(changes);
        if (!isDone || !m_watch.IsWatching()) m_timer.Start(isDone ? RetryTime : m_retry);
        return changes;
    }

private:
    /// Takes the notifications. Returns whether there was none of a change.
    bool IsQuietSinceLastLook() {
        const SFileEvents events = m_watch.Take();
        if (events.hasChanged) {
            m_isPending = true;
            m_lastChange = TClock::now();
        }
        if (events.hasChanged || events.isClosed) m_isOpen = !events.isClosed;
        return !events.hasChanged;
    }

    /// Looks at the file. Returns false when it has to look again after `m_retry`.
    bool Look(std::vector<SChange>& changes) {
        m_retry = QuietTime;
        const bool isSettled = TClock::now() - m_lastChange >= QuietTime;
        if (m_isOpen && !isSettled) return false;
        const std::optional<std::string> text = Read();
        if (!text) return false;
        TConfigMap values;
        const std::string problem = TryParse(*text, m_path, values);
        if ((text->empty() || !problem.empty()) && !isSettled) return false;
        if (!IsQuietSinceLastLook()) return false;
        if (problem.empty() && m_config && !Adopt(*text)) return false;
        m_isPending = false;
        m_problem = problem;
        if (!problem.empty()) return true;
        values.insert(m_defaults.begin(), m_defaults.end());
        changes = Differences(m_values, values);
        m_values = std::move(values);
        return true;
    }

    std::optional<std::string> Read() {
        try {
            return ReadDocument(m_path, LockTime);
        } catch (const std::system_error& error) {
            if (error.code() == std::errc::timed_out) return std::nullopt;
            m_problem = error.what();
            m_retry = RetryTime;
            return std::nullopt;
        }
    }

    /// Brings the configuration up to a text. Returns false when it is to be tried again.
    bool Adopt(const std::string& text) {
        if (const auto safe = dynamic_cast<CSafeConfigImpl*>(m_config.get())) {
            return safe->TryAdopt(text, [this] { return IsQuietSinceLastLook(); });
        }
        try {
            m_config->Reload();
        } catch (const CInvalidConfig&) {
            return false;
        } catch (const Json::Exception&) {
            return false;
        }
        return IsQuietSinceLastLook();
    }

    const std::string m_path;
    const TConfigMap m_defaults;
    TConfigMap m_values;
    std::string m_problem;
    std::shared_ptr<IConfig> m_config;  // may be null
    CFolderWatch m_watch;
    const CTimer m_timer;
    const CDescriptor m_epoll{epoll_create1(EPOLL_CLOEXEC)};
    TClock::time_point m_lastChange = TClock::now();
    TMilliseconds m_retry = QuietTime;
    bool m_isPending = true;  // the file may hold what was not reported yet
    bool m_isOpen = false;    // a writer may be inside
};

CConfigWatcher::CConfigWatcher(const std::shared_ptr<CSafeConfig>& config)
    : m_impl(std::make_unique<CImpl>(ImplementationOf(*config).OverlayPath(),
                                     ImplementationOf(*config).Defaults())) {
    m_impl->Follow(config);
}

CConfigWatcher::CConfigWatcher(const std::string& name, const std::string& rootPath,
                               const std::string& subDirectory,
                               const std::shared_ptr<IConfig>& config)
    : m_impl(std::make_unique<CImpl>(CanonicalPath(FileIn("data", name, rootPath, subDirectory)),
                                     ReadDefaults(FileIn("etc", name, rootPath, subDirectory)))) {
    if (config) {
        m_impl->Follow(config);
    } else {
        (void)m_impl->Changes();
    }
}

CConfigWatcher::~CConfigWatcher() = default;

int CConfigWatcher::Descriptor() const { return m_impl->Descriptor(); }

std::vector<CConfigWatcher::SChange> CConfigWatcher::Changes() { return m_impl->Changes(); }

const TConfigMap& CConfigWatcher::Values() const { return m_impl->Values(); }

const std::string& CConfigWatcher::Problem() const { return m_impl->Problem(); }

}  // namespace Tamsel::Extras
