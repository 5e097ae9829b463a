#pragma once

#include "host/process/ShutdownLimits.h"
#include "host/session/Commands.h"
#include "host/session/LoadedConfiguration.h"
#include "host/session/Snapshot.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

/// Where the server listens, and for whom.
struct SWebOptions
{
    std::string address = "127.0.0.1";
    unsigned short port = 0;        ///< 0: a free one
    bool isPortPreferred = false;   ///< take a free port if that one is taken
    std::string token;              ///< empty: none is needed
    std::vector<std::string> names; ///< by which this computer may be addressed, besides its address
};

/// Reads "[ADDRESS:]PORT", where PORT may be "auto": 8080, or a free one if that is taken. Nothing if it is
/// not of that form.
bool parseListenAddress(const std::string& text, SWebOptions& options);

/// Serves the operator's page and the interface over HTTP (docs/http.md), on a thread of its own, "web". What
/// may call into a device is carried out on some others, so that a device that hangs keeps neither the page
/// nor the run waiting. Reads controllers only through the observer, and changes them only through CCommands.
class CWebServer
{
public:
    /// With a history trends are read from that file, otherwise from memory. Listens from here on;
    /// connections are served after start(). Throws CHostException if it cannot listen, or may not: on an
    /// address that other computers reach, without a token. All must outlive it.
    CWebServer(const SWebOptions& options, CLoadedConfiguration& loaded, CCommands& commands,
               const SShutdownLimits& limits, const std::string& version,
               const std::optional<std::filesystem::path>& history = {});
    /// Stops.
    ~CWebServer();
    CWebServer(const CWebServer&) = delete;
    CWebServer& operator=(const CWebServer&) = delete;

    /// The page's address: "http://127.0.0.1:8080/".
    std::string url() const;
    /// To be added to the observer.
    std::vector<ISnapshotSink*> sinks();
    void start();
    /// Closes all connections and ends the threads, after which nothing of the session is used any more.
    /// False if a call into a device has not returned within the limit; what it uses must not be destroyed
    /// then.
    bool stop(std::chrono::milliseconds limit);

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
