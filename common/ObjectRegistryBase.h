#pragma once

#include "platform/kor/Mutex.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

/// Objects shared under unique names. Names are compared byte by byte, so letter case counts.
/// Every operation is safe from any thread.
template <class T> class CObjectRegistryBase
{
public:
    CObjectRegistryBase() : mutex_(std::make_unique<Kor::CMutex>())
    {
        LOG4CPLUS_TRACE(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("CtorDtorLogger")),
                        "CTOR CObjectRegistryBase " << std::hex << static_cast<const void*>(this));
    }

    virtual ~CObjectRegistryBase()
    {
        mutex_.reset();
        LOG4CPLUS_TRACE(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("CtorDtorLogger")),
                        "DTOR CObjectRegistryBase " << std::hex << static_cast<const void*>(this));
    }

    CObjectRegistryBase(const CObjectRegistryBase&) = delete;
    CObjectRegistryBase& operator=(const CObjectRegistryBase&) = delete;

    /// Removes every object; each is destroyed, still under the registry's mutex, with its last shared
    /// pointer.
    virtual void clear()
    {
        Kor::CGuard guard(*mutex_);
        entries_.clear();
    }

    /// The number of objects.
    std::size_t size() const
    {
        Kor::CGuard guard(*mutex_);
        return entries_.size();
    }

    /// Whether there is an object of exactly this name.
    bool contains(const std::string& name) const
    {
        Kor::CGuard guard(*mutex_);
        return entries_.find(name) != entries_.end();
    }

    /// The names in ascending order.
    std::vector<std::string> names() const
    {
        Kor::CGuard guard(*mutex_);
        std::vector<std::string> result;
        result.reserve(entries_.size());
        for (const auto& entry : entries_) {
            result.push_back(entry.first);
        }
        return result;
    }

protected:
    /// Adds `object` if the name is free; an existing object is never replaced.
    bool insert(const std::string& name, std::shared_ptr<T> object)
    {
        Kor::CGuard guard(*mutex_);
        return entries_.emplace(name, std::move(object)).second;
    }

    /// The object of that name, or an empty pointer.
    std::shared_ptr<T> find(const std::string& name) const
    {
        Kor::CGuard guard(*mutex_);
        const auto found = entries_.find(name);
        return found == entries_.end() ? std::shared_ptr<T>() : found->second;
    }

private:
    std::map<std::string, std::shared_ptr<T>> entries_;
    std::unique_ptr<Kor::CMutex> mutex_;
};

} // namespace Rvl
