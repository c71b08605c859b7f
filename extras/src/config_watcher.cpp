// SPDX-License-Identifier: MIT
#include <tamsel/extras/config_watcher.h>

#include <sys/epoll.h>
#include <sys/timerfd.h>

#include <chrono>
#include <utility>

#include <tamsel/errors.h>

#include "directory_watch.h"
#include "document_text.h"
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

/// Owns a timer descriptor, which becomes readable once after `Start`.
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
        (void)timerfd_settime(m_timer.Get(), 0, &times,
                              nullptr);  // fails for invalid arguments only
    }

    /// Also clears an expiration: the descriptor is then not readable.
    void Stop() const { Start(TMilliseconds(0)); }

private:
    const CDescriptor m_timer;
};

/// \throws std::bad_cast `config` was not returned by `Open`
CSafeConfigImpl& ImplementationOf(CSafeConfig& config) {
    return dynamic_cast<CSafeConfigImpl&>(config);
}

TConfigMap ValuesOf(const IReadOnlyConfig& config) {
    TConfigMap values;
    for (const std::string& key : config.GetAllConfigKeys()) {
        values[key] = config.Get(key, Json::Value());
    }
    return values;
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
        (void)m_watch.Take();  // throws if inotify is not available
        for (const int descriptor : {m_watch.Descriptor(), m_timer.Descriptor()}) {
            epoll_event event{};
            event.events = EPOLLIN;
            const int result = epoll_ctl(m_epoll.Get(), EPOLL_CTL_ADD, descriptor, &event);
            if (result != 0) throw CInotifyHandlingError("Failed to init inotify");
        }
        m_timer.Start(TMilliseconds(1));
    }

    void Follow(const std::shared_ptr<IConfig>& config) {
        m_values = ValuesOf(*config);
        m_config = config;
    }

    int Descriptor() const { return m_epoll.Get(); }
    const TConfigMap& Values() const { return m_values; }
    const std::string& Problem() const { return m_problem; }

    std::vector<SChange> Changes() {
        m_timer.Stop();
        (void)TakeEvents();
        std::vector<SChange> changes;
        const bool isDone = !m_isPending || Examine(changes);
        if (!isDone || !m_watch.IsWatching()) m_timer.Start(isDone ? RetryTime : m_retry);
        return changes;
    }

private:
    /// Consumes the notifications. Returns true if there was one of a change.
    bool TakeEvents() {
        const SFileEvents events = m_watch.Take();
        if (events.hasChanged) {
            m_isPending = true;
            m_lastChange = TClock::now();
        }
        if (events.hasChanged || events.isClosed) m_isOpen = !events.isClosed;
        return events.hasChanged;
    }

    /// Reads the file and reports its changes. Returns false if it is to be called again after
    /// `m_retry`.
    bool Examine(std::vector<SChange>& changes) {
        m_retry = QuietTime;
        const bool isSettled = TClock::now() - m_lastChange >= QuietTime;
        if (m_isOpen && !isSettled) return false;
        const std::optional<std::string> text = Read();
        if (!text) return false;
        TConfigMap values;
        const std::string problem = TryParse(*text, m_path, values);
        if ((text->empty() || !problem.empty()) && !isSettled) return false;
        if (TakeEvents()) return false;  // the text may be outdated, or half of a write
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

    /// Updates the configuration to a text. Returns false if it is to be tried again.
    bool Adopt(const std::string& text) {
        if (const auto safe = dynamic_cast<CSafeConfigImpl*>(m_config.get())) {
            return safe->TryAdopt(text, [this] { return !TakeEvents(); });
        }
        try {
            m_config->Reload();
        } catch (const CInvalidConfig&) {
            return false;
        } catch (const Json::Exception&) {
            return false;
        }
        return !TakeEvents();
    }

    const std::string m_path;
    const TConfigMap m_defaults;
    TConfigMap m_values;
    std::string m_problem;
    std::shared_ptr<IConfig> m_config;  // can be null
    CDirectoryWatch m_watch;
    const CTimer m_timer;
    const CDescriptor m_epoll{epoll_create1(EPOLL_CLOEXEC)};
    TClock::time_point m_lastChange = TClock::now();
    TMilliseconds m_retry = QuietTime;
    bool m_isPending = true;  // the file may have changes that were not reported yet
    bool m_isOpen = false;    // a writer may be writing to the file
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
