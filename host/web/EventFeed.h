#pragma once

#include "host/web/LiveState.h"
#include "host/web/StateJson.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

/// A connection that receives Server-Sent Events.
class IEventClient
{
public:
    virtual ~IEventClient() = default;

    /// How many events have not been sent yet.
    virtual std::size_t backlog() const = 0;
    virtual void send(std::shared_ptr<const std::string> event) = 0;
};

/// Turns snapshots into events: one with everything to each client at its beginning, and then, at the
/// client's interval, what has changed since. Clients of one interval get the same text, which is made once.
/// A client that has not received the event before is left out, and gets everything again once it has.
///
/// Used on one thread.
class CEventFeed
{
public:
    /// An interval is rounded up to a multiple of CLiveState::liveInterval, at least one.
    void add(const std::shared_ptr<IEventClient>& client, std::chrono::milliseconds interval);
    std::size_t clientCount() const;

    void onSnapshot(const CLiveState::Snapshot& snapshot);
    /// Sends an event of another kind to everyone. It is dropped for a client with a long backlog.
    void broadcast(const std::string& event, const Json& data);

private:
    struct SClient
    {
        std::weak_ptr<IEventClient> client;
        bool needsSnapshot = true;
    };
    /// Clients of one interval.
    struct SGroup
    {
        std::vector<SClient> clients;
        std::shared_ptr<const Json> last; ///< the states of the last event
        std::string lastTime;
    };

    void serve(SGroup& group, const std::string& time, const std::shared_ptr<const Json>& states);
    static void welcome(SGroup& group);

    std::map<std::uint64_t, SGroup> groups_; ///< by interval, in live intervals
    std::uint64_t snapshots_ = 0;
};

/// An event as it is sent: "event: NAME\ndata: JSON\n\n".
std::string eventText(const std::string& name, const Json& data);

} // namespace Rvl
