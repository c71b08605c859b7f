// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <unordered_set>

#include <json/value.h>

#include <tamsel/errors.h>
#include <tamsel/export.h>
#include <tamsel/types.h>

namespace Tamsel {

/// A configuration that can be asked: keys with typed values, wherever they come from.
///
/// The factories of `factory.h` hand it out as a shared pointer, and the last one frees it. Any
/// number of threads may use one configuration at once. Every result is a copy that stays valid
/// whatever happens to the configuration later.
///
/// The virtual operations and their order are part of the binary interface.
class TAMSEL_API IReadOnlyConfig {
public:
    virtual ~IReadOnlyConfig() = default;

    /// \name Get: the value of a key, or the caller's default
    /// @{

    /// Gives the value that the configuration holds for `key`, or `defaultValue` when it holds
    /// none. A held value of another type is an error, never a reason to answer with the default,
    /// and JSON's `null` is such a value. What belongs to a type is told at `EDataType`; nothing is
    /// converted between kinds. A number beyond the range of `float` comes back as an infinity, and
    /// digits beyond its precision are lost. The `Json::Value` overload gives whatever is held.
    ///
    /// \warning Pass a text default as `std::string`. A literal, as any pointer, chooses the `bool`
    /// overload without a word from the compiler: `Get("name", "eth0")` asks for a boolean. Types
    /// narrower than `int`, `char` among them, and plain enumerations choose `int`. `long` is
    /// ambiguous: so `int64_t` compiles on 32-bit ARM, where it is `long long`, and not on 64-bit
    /// Linux, where it is `long`. Name an overload's own type, as `5LL` does, to build for both.
    ///
    /// \throws CTypeError the held value is not of that type; the `Json::Value` overload never
    /// throws it
    /// \throws std::system_error an overlayed configuration only: the calling thread already holds
    /// its lock, that is, it runs the configuration's own change callback
    virtual bool Get(const std::string& key, bool defaultValue) const = 0;
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

    /// Tells whether `key` is held with a value of `type`; with `EDataType::Any`, whether it is
    /// held at all. When it tells true, the `Get` of that type does not throw `CTypeError`.
    ///
    /// \throws std::system_error as `Get`
    virtual bool Exists(const std::string& key, EDataType type) const = 0;

    /// Gives every key that is held, each once, in no order.
    ///
    /// \throws std::system_error as `Get`
    virtual std::unordered_set<std::string> GetAllConfigKeys() const = 0;
};

/// A configuration that can also be changed, in memory and on disk at once, and followed while
/// others change it.
///
/// It answers from two layers: the overlay, which holds the changes, and below it the defaults,
/// which never change. A key that both hold is answered from the overlay, and is called overridden.
///
/// A change rewrites the whole overlay file from this object's memory, so it also undoes what
/// another process wrote since this object last read the file. Where several processes change one
/// configuration, call `Reload` right before each change; even then the last writer wins. What a
/// rewrite does to the file when the power fails or the disk is full is told at `WriteFile`, and
/// what it keeps of a text at `JsonUtil::WriteConfig`.
///
/// The virtual operations and their order are part of the binary interface.
class TAMSEL_API IConfig : public IReadOnlyConfig {
public:
    /// \name Set: change the value of a key
    /// @{

    /// Afterwards `key` is answered with `value`, and the overlay file holds it. In this order: the
    /// value enters the overlay in memory, the change callback is called, the file is written and
    /// synchronised. Other threads' calls wait meanwhile, all but `HasChanged` and
    /// `GetOverlayedFileSize`; and all of them wait without limit while someone else holds the
    /// file's lock.
    ///
    /// Nothing at all happens, no callback and no write, when the overlay holds an equal value, or
    /// when the key is not overridden and its default is equal. An overridden key that is set back
    /// to its default stays overridden; `Restore` undoes it.
    ///
    /// Equality is that of `Json::Value`: an `int`, an `unsigned` and a real are never equal,
    /// whatever their values. A file's 5 reads as an `int`, so `Set(key, 5u)` and `Set(key, 5.0)`
    /// over it are changes, and a repeated `Set(key, 5u)` is one again after every `Reload`. A
    /// `float` is stored as the `double` of the same value.
    ///
    /// \warning A text literal chooses the `bool` overload, exactly as with `Get`: write
    /// `Set("name", std::string("eth0"))`. An infinity is written in a form that the parser then
    /// refuses, so that the file cannot be read again, and so is a `Json::Value` of more than 998
    /// arrays or objects within one another; a NaN is written as `null`; text that is not UTF-8, in
    /// keys too, is written as other characters and may take its neighbours with it. Keep them out.
    ///
    /// \throws CInvalidConfig the file cannot be opened, locked, emptied or written; memory holds
    /// the new value, and the callback was called. Repeating the call does nothing, for memory
    /// holds the value already; the next effective change of any key writes this one too
    /// \throws std::system_error as `Get`; nothing has changed
    /// \throws anything that the callback throws; memory holds the new value, and the file gets it
    /// with the next effective change of any key
    virtual void Set(const std::string& key, bool value) = 0;
    virtual void Set(const std::string& key, unsigned int value) = 0;
    virtual void Set(const std::string& key, unsigned long long value) = 0;
    virtual void Set(const std::string& key, int value) = 0;
    virtual void Set(const std::string& key, long long value) = 0;
    virtual void Set(const std::string& key, float value) = 0;
    virtual void Set(const std::string& key, double value) = 0;
    virtual void Set(const std::string& key, const std::string& value) = 0;
    virtual void Set(const std::string& key, const Json::Value& value) = 0;
    /// @}

    /// Takes `key` out of the overlay and writes the file, so that the key is answered from the
    /// defaults again. Tells whether the overlay held the key; if not, nothing is written. Does not
    /// call the change callback.
    ///
    /// \throws CInvalidConfig the file cannot be written; memory no longer holds the override, so
    /// repeating the call does nothing
    /// \throws std::system_error as `Get`; nothing has changed
    virtual bool Restore(const std::string& key) = 0;

    /// Tells whether the overlay file was modified since the previous call, or since construction:
    /// by this object or by anyone else. It reads and reloads nothing, never waits, and tells true
    /// once for all modifications so far. Threads that ask at once share the notifications between
    /// them, so let one thread ask. What ends the watch for good is told at `CFileStream`.
    ///
    /// \throws CInotifyHandlingError the notifications cannot be read
    virtual bool HasChanged() = 0;

    /// Reads the overlay file again and answers from it. The defaults are not read again, and the
    /// change callback is not called. Changes that only memory holds, after a failed write, are
    /// lost.
    ///
    /// No file lock is taken: a reload that meets another process's write may find the file empty,
    /// which reads as an overlay without keys and is no error; or cut short, which throws; or,
    /// beside two writes in a row, begun by one and ended by the other, which may even parse.
    /// Unless that writer dies there, a later `HasChanged` tells true.
    ///
    /// \warning A file that cannot be opened, be it for want of a free descriptor, also reads as
    /// empty, and the next change then writes an overlay without the former keys.
    ///
    /// \throws CInvalidConfig the text does not parse; the overlay in memory stays as it was
    /// \throws Json::Exception jsoncpp refuses the document; the overlay stays as it was
    /// \throws std::system_error as `Get`
    virtual void Reload() = 0;

    /// Empties the overlay and writes the file, also when the overlay is empty already, so that
    /// every key is answered from the defaults again. Does not call the change callback.
    ///
    /// \throws CInvalidConfig the file cannot be written; the overlay in memory is empty
    /// \throws std::system_error as `Get`; nothing has changed
    virtual void Erase() = 0;

    /// Gives the size of the overlay file on disk at this moment, in bytes, modulo 2^32. It says
    /// nothing about what memory holds.
    ///
    /// \throws CAccessDenied the file cannot be opened for reading
    virtual unsigned int GetOverlayedFileSize() = 0;
};

}  // namespace Tamsel
