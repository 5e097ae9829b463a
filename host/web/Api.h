#pragma once

#include "host/web/HttpMessage.h"
#include "host/web/StateJson.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

/// A request with what its operation's description says about it.
struct SApiRequest
{
    const SHttpRequest& http;
    std::map<std::string, std::string> path; ///< the values of the path's parts in braces
    Json body;                               ///< null without one

    /// A parameter of the query; nothing if it is left out.
    std::optional<std::string> query(const std::string& name) const;
    /// The same as a whole number in a range, `otherwise` if it is left out. Throws CHttpError (400 or 422).
    long long integer(const std::string& name, long long minimum, long long maximum,
                      long long otherwise) const;
};

/// One request that the server carries out. From this description it is dispatched, checked and documented.
struct SOperation
{
    struct SQueryParameter
    {
        std::string name;
        Json schema;
        std::string meaning;
    };

    std::string method;
    std::string path;                  ///< as "/api/channels/{channel}"
    std::vector<std::string> segments; ///< the path's; CApi makes them
    std::string summary;
    std::vector<SQueryParameter> query;
    Json bodySchema;  ///< null: no body
    Json replySchema; ///< null: the reply is described by its content type
    std::string replyType = "application/json";
    /// Whether it may call into a channel, which a device can block, or takes long otherwise: it is not
    /// carried out on the server's own thread then.
    bool mayBlock = false;
    bool needsToken = true;
    std::size_t largestBody = 64 * 1024;
    std::function<SHttpReply(const SApiRequest& request)> carryOut;
};

/// The interface over HTTP without its transport: finds the operation, checks the request against the
/// operation's description, carries it out and turns what it throws into a reply.
class CApi
{
public:
    void add(std::vector<SOperation> operations);
    const std::vector<SOperation>& operations() const { return operations_; }

    /// The operation of a request. Throws CHttpError: 404 for a path, 405 for a method that there is not.
    const SOperation& find(const SHttpRequest& request) const;
    /// The channel or device that the path names; empty if it names none.
    static std::string objectOf(const SOperation& operation, const SHttpRequest& request);
    /// Throws nothing but what has no memory.
    SHttpReply carryOut(const SOperation& operation, const SHttpRequest& request) const;

private:
    std::vector<SOperation> operations_;
};

SHttpReply jsonReply(const Json& json);
/// The OpenAPI 3 document of these operations.
Json openApi(const std::vector<SOperation>& operations, const std::string& version);

} // namespace Rvl
