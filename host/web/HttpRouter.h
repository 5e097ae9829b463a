#pragma once

#include "host/web/Api.h"
#include "host/web/HttpAccess.h"
#include "host/web/PageFiles.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

/// What is between a request and its operation: whether it may be carried out, and whether it is for a file
/// of the page, for events, or for an operation. Without sockets and threads.
class CHttpRouter
{
public:
    /// To the operations it adds its own: the description of all of them, and the events, which have no
    /// reply. The access must outlive it.
    CHttpRouter(const CHttpAccess& access, std::vector<SOperation> operations, const std::string& version);
    CHttpRouter(const CHttpRouter&) = delete;
    CHttpRouter& operator=(const CHttpRouter&) = delete;

    const CApi& api() const { return api_; }
    /// Decides about origin and token. Throws CHttpError: 401, 403, and 404 or 405 where there is nothing.
    void authorize(const SHttpRequest& request, const SHttpCredentials& credentials) const;
    /// The interval if the request asks for events, nothing otherwise. Throws CHttpError.
    std::optional<std::chrono::milliseconds> eventInterval(const SHttpRequest& request) const;
    /// The file of the page that the request asks for; nothing if it asks for none.
    std::optional<SHttpReply> pageReply(const SHttpRequest& request) const;

private:
    static const SPageFile* pageFile(const SHttpRequest& request);

    const CHttpAccess& access_;
    CApi api_;
};

} // namespace Rvl
