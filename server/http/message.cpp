#include "message.h"

#include <boost/json/serialize.hpp>

namespace kivolo::server::http {

Response errorResponse(unsigned status, std::string_view sentence)
{
    Response response;
    response.status = status;
    response.body = boost::json::serialize(boost::json::object{{"error", sentence}});
    return response;
}

Response busyResponse()
{
    Response response = errorResponse(503, busySentence);
    response.limit = "memory";
    return response;
}

} // namespace kivolo::server::http
