// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <unordered_set>

#include <json/value.h>

#include <tamsel/errors.h>
#include <tamsel/export.h>
#include <tamsel/types.h>

namespace Tamsel {

/// Read access to a configuration: keys with typed values, whatever their source.
///
/// Thread-safe. The factories of `factory.h` return it as a `std::shared_ptr`, and the last owner
/// destroys it. Every result is a copy, which stays valid whatever happens to the configuration.
///
/// The order of the virtual functions is part of the binary interface.
class TAMSEL_API IReadOnlyConfig {
public:
    virtual ~IReadOnlyConfig() = default;

    /// Returns the value stored for `key`, or `defaultValue` if there is none.
    ///
    /// A stored value of another type, JSON's `null` included, is an error: it is never replaced by
    /// the default, nor converted between kinds. `EDataType` defines which values have which type.
    /// A number beyond the range of `float` becomes an infinity, and digits beyond its precision
    /// are lost. The `Json::Value` overload returns any stored value.
    ///
    /// \warning A string literal, like any other pointer, selects the `bool` overload without a
    /// compiler warning: `Get("name", "eth0")` expects a boolean. Pass a `std::string`.
    ///
    /// \warning Integers narrower than `int`, such as `char`, select `int`, and an unscoped
    /// enumeration selects the type that it promotes to. `long` is ambiguous: `int64_t` compiles on
    /// 32-bit ARM, where it is `long long`, but not on 64-bit Linux, where it is `long`. To compile
    /// on both, pass a parameter type itself, for example `5LL`.
    ///
    /// \throws CTypeError the stored value has another type; never from the `Json::Value` overload
    /// \throws std::system_error only from a configuration with an overlay, with glibc: the calling
    /// thread already holds its lock, because it is inside the change callback or a stream
    virtual bool Get(const std::string& key, bool defaultValue) const = 0;

    /// \name Overloads of Get
    /// @{

    /// As Get(const std::string&, bool) const, for this type.
    virtual unsigned int Get(const std::string& key, unsigned int defaultValue) const = 0;
    virtual unsigned long long Get(const std::string& key,
                                   unsigned long long defaultValue) const = 0;
    virtual int Get(const std::string& key, int defaultValue) const = 0;
    virtual long long Get(const std::string& key, long long defaultValue) const = 0;
    virtual float Get(const std::string& key, float defaultValue) const = 0;
    virtual double Get(const std::string& key, double defaultValue) const = 0;
    virtual std::string Get(const std::string& key, const std::string& defaultValue) const = 0;
    virtual Json::Value Get(const std::string& key, const Json::Value& defaultValue) const = 0;
    /// @}

    /// Returns true if `key` has a value of `type`, or any value for `EDataType::Any`. If so, the
    /// `Get` of that type does not throw `CTypeError`.
    ///
    /// \throws std::system_error as `Get`
    virtual bool Exists(const std::string& key, EDataType type) const = 0;

    /// Returns all keys, each once, in no particular order.
    ///
    /// \throws std::system_error as `Get`
    virtual std::unordered_set<std::string> GetAllConfigKeys() const = 0;
};

/// A configuration that can be changed, in memory and on disk, and that detects changes of its
/// file.
///
/// It has two layers: the overlay, which stores the changes, and the defaults, which never change.
/// A key that is in both has the value of the overlay, whatever its type, and is called overridden.
///
/// During a change, other threads' calls on this object block, except `HasChanged` and
/// `GetOverlayedFileSize`. A change blocks indefinitely while the file is locked through any other
/// descriptor, one of this process included.
///
/// The order of the virtual functions is part of the binary interface.
///
/// \warning A change rewrites the whole overlay file from memory, so it discards what another
/// process wrote since this object last read the file. If several processes change one
/// configuration, call `Reload` immediately before each change; even then, the last writer wins.
/// See `WriteFile` for what a power cut or a full disk does to the file, and
/// `JsonUtil::WriteConfig` for which comments a rewrite keeps.
class TAMSEL_API IConfig : public IReadOnlyConfig {
public:
    /// Sets `key` to `value`: stores it in the overlay in memory, calls the change callback, then
    /// writes and synchronises the file.
    ///
    /// Does nothing if the overlay stores an equal value, or if the key is not overridden and its
    /// default is equal. An overridden key that is set to its default stays overridden.
    ///
    /// If the callback or the write fails, memory keeps the new value: repeating the call does
    /// nothing, and the next effective change of any key writes this one too.
    ///
    /// Equality is that of `Json::Value`: an `int`, an `unsigned` and a real are never equal. A
    /// file's 5 is an `int`, so `Set(key, 5u)` and `Set(key, 5.0)` change it, and `Set(key, 5u)`
    /// does so again after each `Reload`. A `float` is stored as the equal `double`: 0.5F
    /// equals a file's 0.5, but 0.1F does not equal 0.1.
    ///
    /// \warning Overloads are selected as in `Get`: for text, pass a `std::string`.
    ///
    /// \warning `Json::nullValue` is an enumerator and stores 0; pass `Json::Value()`. `{1, 2}`
    /// selects `std::string` and stores two characters.
    ///
    /// \warning With an infinity, or a value in more than 998 nested arrays or objects, the file no
    /// longer parses. A NaN is written as `null`. Text that is not UTF-8, keys included, is written
    /// as other characters and can corrupt those next to it.
    ///
    /// \throws CInvalidConfig the file cannot be opened, locked, truncated or written; the callback
    /// was called
    /// \throws std::system_error as `Get`; nothing has changed
    ///
    /// An exception of the callback propagates, and nothing was written.
    virtual void Set(const std::string& key, bool value) = 0;

    /// \name Overloads of Set
    /// @{

    /// As Set(const std::string&, bool), for this type.
    virtual void Set(const std::string& key, unsigned int value) = 0;
    virtual void Set(const std::string& key, unsigned long long value) = 0;
    virtual void Set(const std::string& key, int value) = 0;
    virtual void Set(const std::string& key, long long value) = 0;
    virtual void Set(const std::string& key, float value) = 0;
    virtual void Set(const std::string& key, double value) = 0;
    virtual void Set(const std::string& key, const std::string& value) = 0;
    virtual void Set(const std::string& key, const Json::Value& value) = 0;
    /// @}

    /// Removes `key` from the overlay and writes the file, so that the key has its default again,
    /// if it has one.
    /// Returns true if the overlay contained the key; if not, nothing is written. Does not call the
    /// change callback.
    ///
    /// \throws CInvalidConfig the file cannot be written; the key is no longer in the overlay in
    /// memory, so repeating the call does nothing
    /// \throws std::system_error as `Get`; nothing has changed
    virtual bool Restore(const std::string& key) = 0;

    /// Returns true if anyone, this object included, modified the overlay file since the previous
    /// call, or since construction. Reports any number of modifications once. Does not read the
    /// file. Non-blocking. Threads that call it concurrently share the notifications: call it from
    /// one thread. See `CFileStream` for what ends the watch permanently.
    ///
    /// \throws CInotifyHandlingError the notifications cannot be read
    virtual bool HasChanged() = 0;

    /// Reads the overlay file again and replaces the overlay in memory. Does not read the defaults
    /// again, and does not call the change callback. Changes that are only in memory, after a
    /// failed write or an exception of the callback, are lost.
    ///
    /// Takes no file lock. During a write by another process or object, the file may be empty,
    /// which reads as an overlay without keys and is not an error; or truncated, which throws; or,
    /// during two consecutive writes, a mixture of both, which can even parse.
    /// Unless that writer dies or fails during the write, a later `HasChanged` returns true.
    ///
    /// \warning A file that cannot be opened, for example because the process is out of file
    /// descriptors, also reads as empty. The next change then writes an overlay without the former
    /// keys.
    ///
    /// \throws CInvalidConfig the text does not parse; the overlay in memory is unchanged
    /// \throws Json::Exception jsoncpp rejects the document; the overlay in memory is unchanged
    /// \throws std::system_error as `Get`
    virtual void Reload() = 0;

    /// Removes every key from the overlay and writes the file, even if the overlay is already
    /// empty, so that only the defaults remain. Does not call the change callback.
    ///
    /// \throws CInvalidConfig the file cannot be written; the overlay in memory is empty
    /// \throws std::system_error as `Get`; nothing has changed
    virtual void Erase() = 0;

    /// Returns the current size of the overlay file on disk, in bytes modulo 2^32. It is
    /// independent of the overlay in memory.
    ///
    /// \throws CAccessDenied the file cannot be opened for reading
    virtual unsigned int GetOverlayedFileSize() = 0;
};

}  // namespace Tamsel
