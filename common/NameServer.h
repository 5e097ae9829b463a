#pragma once

#include "common/LoggedThrow.h"
#include "platform/rivlink_common/ConfigurationException.h"

#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace Rvl {

/// Live objects by name, so that a configuration can refer to them. `T` is a pointer type; the objects are
/// not owned. Names are unique and compared byte by byte.
/// Not locked: names are given and looked up while a configuration is loaded, on one thread.
template <class T> class CNameServer
{
public:
    CNameServer() = default;
    CNameServer(const CNameServer&) = delete;
    CNameServer& operator=(const CNameServer&) = delete;

    /// Gives `object` the name and returns true. Throws CConfigurationException, and leaves everything as it
    /// was, if the name is taken.
    bool registerObject(T object, const std::string& name)
    {
        if (byName_.find(name) != byName_.end()) {
            RVL_THROW(CConfigurationException,
                      "Object " + name + " is already registered on this name server");
        }
        byName_.emplace(name, object);
        byObject_.emplace(object, name);
        LOG4CPLUS_INFO(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("CfgLogger")),
                       "Named object " << name << " registered on name server " << std::hex
                                       << static_cast<const void*>(this));
        return true;
    }

    /// The object of that name. Throws CConfigurationException if there is none.
    T lookupObject(const std::string& name) const
    {
        const auto found = byName_.find(name);
        if (found == byName_.end()) {
            std::ostringstream message;
            message << "Object " << name << " is not registered on this name server " << std::hex
                    << static_cast<const void*>(this);
            RVL_THROW(CConfigurationException, message.str());
        }
        return found->second;
    }

    bool contains(const std::string& name) const { return byName_.find(name) != byName_.end(); }

    /// Removes the object and its name. Nothing happens if it is not registered.
    void unregisterObject(T object)
    {
        const auto found = byObject_.find(object);
        if (found == byObject_.end()) {
            return;
        }
        const std::string name = found->second;
        byObject_.erase(found);
        byName_.erase(name);
    }

    /// The names in ascending order.
    std::vector<std::string> names() const
    {
        std::vector<std::string> result;
        result.reserve(byName_.size());
        for (const auto& entry : byName_) {
            result.push_back(entry.first);
        }
        return result;
    }

private:
    std::map<std::string, T> byName_;
    std::map<T, std::string> byObject_;
};

/// An object that can be removed from its name server.
class INameServedObject
{
public:
    virtual void removeFromNameServer() = 0;
    virtual ~INameServedObject() = default;

protected:
    INameServedObject() = default;
    INameServedObject(const INameServedObject&) = delete;
    INameServedObject& operator=(const INameServedObject&) = delete;
};

/// Registers the object `T` on the name server `NS` when constructed and removes it when destroyed. A base or
/// a member of the object that is to appear under the name.
template <class T, class NS> class CNameServerRegistrator : public INameServedObject
{
public:
    /// Not attached to any name server.
    CNameServerRegistrator() = default;

    /// Registers `object`; the name server's CConfigurationException for a taken name passes.
    CNameServerRegistrator(NS& nameServer, const std::string& name, const T& object)
        : nameServer_(&nameServer), object_(object)
    {
        nameServer_->registerObject(object_, name);
    }

    /// Removes the object before the destructor does. It stays attached; a second call does nothing.
    void removeFromNameServer() override { unregisterNamedObject(); }

    ~CNameServerRegistrator() override { unregisterNamedObject(); }

private:
    void unregisterNamedObject()
    {
        if (nameServer_) {
            nameServer_->unregisterObject(object_);
        }
    }

    NS* nameServer_ = nullptr;
    T object_{};
};

} // namespace Rvl
