// oamctl call: any request, as it is.
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {

int call(const Invocation& invocation, Answer& answer) {
  json::object parameters;
  if (invocation.words.size() == 2) {
    boost::system::error_code error;
    const json::value given = json::parse(invocation.words[1], error);
    if (error || !given.is_object()) {
      throw UsageError{
          "JSON is an object with the parameters, such as '{\"recordId\":\"0x111f000b\"}'"};
    }
    parameters = given.get_object();
  }
  const json::object reply = invocation.client().call(invocation.words[0], parameters);
  answer.json["method"] = invocation.words[0];
  answer.json["reply"] = reply;
  answer.line(json::serialize(reply));
  const json::value* result = reply.if_contains("result");
  return result != nullptr && result->is_int64() ? exitStatusOf(result->get_int64()) : exitSuccess;
}

}  // namespace tools
