#include "host/web/EventFeed.h"

#include "host/base/UtcText.h"

#include <algorithm>

namespace Rvl {

namespace {

constexpr std::size_t longestBacklog = 100;

Json statesOf(const SSnapshot& snapshot)
{
    Json states = Json::object();
    auto& members = states.get_ref<Json::object_t&>();
    members.reserve(snapshot.controllers.size());
    for (const SControllerState& state : snapshot.controllers) {
        members.emplace_back(state.name, stateJson(state)); // names differ, so no member is looked for
    }
    return states;
}

std::shared_ptr<const std::string> statesEvent(const std::string& name, const std::string& time,
                                               const Json& states)
{
    return std::make_shared<const std::string>("event: " + name + "\ndata: {\"time\":\"" + time +
                                               "\",\"states\":" + textOf(states) + "}\n\n");
}

} // namespace

std::string eventText(const std::string& name, const Json& data)
{
    return "event: " + name + "\ndata: " + textOf(data) + "\n\n";
}

void CEventFeed::add(const std::shared_ptr<IEventClient>& client, std::chrono::milliseconds interval)
{
    constexpr auto unit = CLiveState::liveInterval;
    const auto multiple =
        std::max<std::chrono::milliseconds::rep>((interval + unit).count() - 1, 1) / unit.count();
    groups_[static_cast<std::uint64_t>(std::max<std::chrono::milliseconds::rep>(multiple, 1))]
        .clients.push_back({client, true});
}

std::size_t CEventFeed::clientCount() const
{
    std::size_t count = 0;
    for (const auto& [interval, group] : groups_) {
        count += static_cast<std::size_t>(
            std::count_if(group.clients.begin(), group.clients.end(),
                          [](const SClient& client) { return !client.client.expired(); }));
    }
    return count;
}

void CEventFeed::onSnapshot(const CLiveState::Snapshot& snapshot)
{
    ++snapshots_;
    std::shared_ptr<const Json> states;
    std::string time;
    for (auto group = groups_.begin(); group != groups_.end();) {
        std::erase_if(group->second.clients, [](const SClient& client) { return client.client.expired(); });
        if (group->second.clients.empty()) {
            group = groups_.erase(group);
            continue;
        }
        const bool isDue = snapshots_ % group->first == 0;
        const bool hasNew = std::any_of(group->second.clients.begin(), group->second.clients.end(),
                                        [](const SClient& client) { return client.needsSnapshot; });
        if (isDue || (hasNew && !group->second.last)) {
            if (!states) {
                states = std::make_shared<const Json>(statesOf(*snapshot));
                time = utcText(snapshot->utc);
            }
            serve(group->second, time, states);
        } else if (hasNew) {
            welcome(group->second);
        }
        ++group;
    }
}

void CEventFeed::serve(SGroup& group, const std::string& time, const std::shared_ptr<const Json>& states)
{
    std::shared_ptr<const std::string> everything;
    std::shared_ptr<const std::string> changed;
    for (SClient& entry : group.clients) {
        const std::shared_ptr<IEventClient> client = entry.client.lock();
        if (!client) {
            continue;
        }
        if (client->backlog() > 0) {
            entry.needsSnapshot = true;
        } else if (entry.needsSnapshot || !group.last) {
            everything = everything ? everything : statesEvent("snapshot", time, *states);
            client->send(everything);
            entry.needsSnapshot = false;
        } else {
            if (!changed) {
                changed =
                    statesEvent("changes", time, changes(*group.last, *states).value_or(Json::object()));
            }
            client->send(changed);
        }
    }
    group.last = states;
    group.lastTime = time;
}

/// Sends new clients what the others of their interval have, from which the next changes go on.
void CEventFeed::welcome(SGroup& group)
{
    const auto everything = statesEvent("snapshot", group.lastTime, *group.last);
    for (SClient& entry : group.clients) {
        const std::shared_ptr<IEventClient> client = entry.client.lock();
        if (client && entry.needsSnapshot && client->backlog() == 0) {
            client->send(everything);
            entry.needsSnapshot = false;
        }
    }
}

void CEventFeed::broadcast(const std::string& event, const Json& data)
{
    const auto text = std::make_shared<const std::string>(eventText(event, data));
    for (const auto& [interval, group] : groups_) {
        for (const SClient& entry : group.clients) {
            if (const auto client = entry.client.lock(); client && client->backlog() < longestBacklog) {
                client->send(text);
            }
        }
    }
}

} // namespace Rvl
