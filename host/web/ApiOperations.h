#pragma once

#include "host/session/Commands.h"
#include "host/session/LoadedConfiguration.h"
#include "host/web/Api.h"
#include "host/web/ChannelAges.h"
#include "host/web/ControllerFacts.h"
#include "host/web/HttpAccess.h"
#include "host/web/LiveState.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

/// What operations work with. All must outlive them.
struct SApiContext
{
    CLoadedConfiguration& loaded;
    CCommands& commands;
    const CLiveState& live;
    const CTrendMemory& trend;
    const CChannelAges& ages;
    CControllerFacts& facts;
    const CHttpAccess& access;
    std::function<std::size_t()> eventClients; ///< how many there are now
    std::string version;
    std::optional<std::filesystem::path> history; ///< absent: only memory

    CSession& session() const { return loaded.session(); }
    /// Of the scaled value, or of the device's signal if the channel has no scaling; empty for null, and
    /// where it is not known.
    std::string unitOf(const IIoChannelInterface* channel) const;
    /// The device to which the channel's configuration binds it; null if to none.
    const SRig::SDevice* deviceOf(const IIoChannelInterface& channel) const;
    /// The latest snapshot. Throws CHttpError (503) before the first one.
    CLiveState::Snapshot snapshot() const;
    /// Throws CHttpError (404) with a suggestion.
    CController& controller(const std::string& name) const;
    /// What is known of the controller; takes the locks of its loops if a command may have changed it.
    CControllerFacts::Facts factsOf(const CController& controller) const;
};

/// GET /api/channels, /api/channels/{channel} and the state alone.
std::vector<SOperation> channelOperations(const SApiContext& context);
/// What changes a controller: set point, mode, parameters; and the records of that.
std::vector<SOperation> commandOperations(const SApiContext& context);
/// Devices with their channels and simulated faults; controllers that are not normal.
std::vector<SOperation> deviceOperations(const SApiContext& context);
/// Trend and history.
std::vector<SOperation> trendOperations(const SApiContext& context);
/// Metrics, health, session.
std::vector<SOperation> serverOperations(const SApiContext& context);
/// All of these.
std::vector<SOperation> operationsOf(const SApiContext& context);

/// A command's record as replies and events give it.
Json recordJson(const SCommandRecord& record);

} // namespace Rvl
