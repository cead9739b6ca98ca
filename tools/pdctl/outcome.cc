#include "outcome.h"

#include <cstdlib>
#include <sstream>

#include "records.h"
#include "sns-tiface/sns_nt_failure.h"

namespace pdctl {

const char *const kExitCodesHelp =
    "Exit codes:\n"
    "  0  success\n"
    "  1  the gateway answered with an error (its number and meaning are shown)\n"
    "  2  usage error: unknown command, missing or bad arguments, unreadable file\n"
    "  3  transport failure: no answer, an HTTP status other than 200, a timeout,\n"
    "     or an answer without the record the request should bring\n"
    "  4  refused by the plug-in: the request was not sent (for example not logged in)\n"
    "  5  the plug-in could not be loaded\n"
    "  6  GConf, where the login state lives, cannot be reached (no D-Bus session),\n"
    "     or a login's session could not be stored there\n"
    "An upload that the gateway refuses ends with 3: the plug-in ends it without\n"
    "passing on the gateway's error.";

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

namespace {

// A transport failure in plain words (sns_nt_failure.h).
std::string failure_words(int cause) {
  switch (cause) {
    case SNS_NT_FAILURE_REFUSED: return "the connection was refused (nothing listens there)";
    case SNS_NT_FAILURE_UNREACHABLE: return "the gateway's address cannot be reached";
    case SNS_NT_FAILURE_NAME: return "the gateway's host name was not resolved";
    case SNS_NT_FAILURE_CERTIFICATE:
      return "the gateway's TLS certificate is not trusted (SNS_NT_CAINFO names the CA file)";
    case SNS_NT_FAILURE_CA_FILE: return "the CA file cannot be read (SNS_NT_CAINFO)";
    case SNS_NT_FAILURE_TLS: return "the TLS handshake with the gateway failed";
    case SNS_NT_FAILURE_TIMEOUT: return "the transport timed out (SNS_NT_TIMEOUT_MS)";
    case SNS_NT_FAILURE_TOO_LARGE: return "the answer is too large (SNS_NT_MAX_REPLY_BYTES)";
    case SNS_NT_FAILURE_CONNECTION_LOST: return "the gateway closed the connection before it answered";
    case SNS_NT_FAILURE_NO_MEMORY: return "the transport ran out of memory";
    default: return "the exchange failed";
  }
}

}  // namespace

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
  if (note.uHttpStatus == 0) {
    if (!answer.failure)
      return {kTransport, "no answer from the gateway: it cannot be reached or the connection failed"};
    return {kTransport, "no answer from the gateway: " + failure_words(answer.failure->cause) + ": " +
                            answer.failure->detail};
  }
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


void tell_login_state(const Request &request, const Answer &answer,
                      const std::optional<std::string> &before,
                      const std::optional<std::string> &after, Outcome &outcome) {
  if (request.code != PD_REQ_LOGIN && request.code != PD_REQ_LOGOUT) return;
  if (answer.kind == Answer::Kind::refused) return;  // nothing was sent, nothing was cleared
  if (outcome.exit == kSuccess) {
    if (request.code != PD_REQ_LOGIN) return;
    const pd_notification &note = *answer.notification;
    const char *key = reinterpret_cast<const xml_base *>(note.iResult)->pszSessionKey;
    if (key == nullptr || *key == '\0') {
      outcome = {kGatewayError, "the gateway accepted the login but sent no session key: not logged in"};
    } else if (!after || *after != key) {
      outcome = {kNoSettings,
                 "the gateway accepted the login, but its session could not be stored in GConf: "
                 "not logged in"};
    }
    return;
  }
  // Login and logout clear the stored keys before the gateway answers.
  bool dropped = before && !before->empty() && after && after->empty();
  if (request.code == PD_REQ_LOGIN && dropped)
    outcome.message += "; the session stored before was dropped (a login clears it before it is sent)";
  else if (request.code == PD_REQ_LOGOUT && dropped)
    outcome.message += "; the stored session was dropped all the same";
}

}  // namespace pdctl
