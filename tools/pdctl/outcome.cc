#include "outcome.h"

#include <cstdlib>
#include <sstream>

#include "records.h"

namespace pdctl {

const char *const kExitCodesHelp =
    "Exit codes:\n"
    "  0  success\n"
    "  1  the gateway answered with an error (its number and meaning are shown)\n"
    "  2  usage error: unknown command, missing or bad arguments, unreadable file\n"
    "  3  transport failure: no answer, an HTTP status other than 200, a timeout,\n"
    "     or an answer without the record the request should bring\n"
    "  4  refused by the plug-in: the request was not sent (for example not logged in)\n"
    "  5  the plug-in could not be loaded";

std::string gateway_error_meaning(intptr_t error) {
  switch (error) {
    case -10: return "the gateway could not read the request";
    case -201: return "the request carried no session key: log in first";
    case -202: return "the session is unknown or logged out: log in again";
    case -301: return "wrong user name or password";
    case -302: return "the gateway does not know this application";
    case -40: return "the gateway does not offer this request";
    case -501: return "no such person";
    case -502: return "no such item (photo, activity, album or thread)";
    case -601: return "a value the request needs is missing";
    case -701: return "no such upload";
    case -702: return "the upload's byte range was not usable";
    case -703: return "the gateway refused a piece of the upload";
    default: return "an error this program does not know";
  }
}

Outcome judge(const Answer &answer, const Request &request, double timeout_seconds, bool json,
              std::string &out) {
  std::ostringstream text;
  switch (answer.kind) {
    case Answer::Kind::refused: {
      std::string hint = request.refused_hint;
      // Login state lives in GConf, which needs a D-Bus session bus.
      if (request.code != 0 && std::getenv("DBUS_SESSION_BUS_ADDRESS") == nullptr)
        hint += " (no D-Bus session: GConf cannot keep the login state)";
      return {kRefused, "the plug-in refused the request: " + hint};
    }
    case Answer::Kind::timed_out:
      text << "no answer within " << timeout_seconds << " s (--timeout)";
      return {kTransport, text.str()};
    case Answer::Kind::notified: break;
  }
  const pd_notification &note = *answer.notification;
  if (note.uHttpStatus == 0)
    return {kTransport, "no answer from the gateway: it cannot be reached or the connection failed"};
  if (note.uHttpStatus != 200) {
    text << "the gateway answered with HTTP status " << note.uHttpStatus;
    return {kTransport, text.str()};
  }
  if (note.iResult < 0) {
    text << "the gateway answered with error " << note.iResult << ": "
         << gateway_error_meaning(note.iResult);
    return {kGatewayError, text.str()};
  }
  View view;
  if (is_record(note.iResult)) {
    view = view_of_record(note.uReqCode, note.iResult);
  } else if (!request.expects_record) {
    view = note_view(request.done);
  } else {
    return {kTransport, request.no_record};
  }
  if (json)
    render_json(view, text);
  else
    render_text(view, text);
  out = text.str();
  return {};
}

}  // namespace pdctl
