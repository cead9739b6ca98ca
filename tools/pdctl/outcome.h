// How a request ended, as an exit status and the words a person reads.
#ifndef PDCTL_OUTCOME_H
#define PDCTL_OUTCOME_H

#include <cstdint>
#include <optional>
#include <string>

#include "commands.h"
#include "runner.h"

namespace pdctl {

enum Exit : int {
  kSuccess = 0,
  kGatewayError = 1,  // the gateway answered with an error
  kUsage = 2,         // unknown subcommand, missing or bad arguments
  kTransport = 3,     // no answer, a status other than 200, a timeout, no record
  kRefused = 4,       // the plug-in did not send the request
  kNoPlugin = 5,      // the plug-in could not be loaded
  kNoSettings = 6,    // GConf, where the login state lives, cannot be reached
};

// The exit codes as --help lists them.
extern const char *const kExitCodesHelp;

// What a gateway error number (the negated sub-code, or ten times the
// negated code when there is no sub-code) means, in plain words.
std::string gateway_error_meaning(intptr_t error);

struct Outcome {
  Exit exit = kSuccess;
  std::string message;  // for standard error; empty on success
};

// Judges an answer; when it brings what was asked, renders it into `out`.
Outcome judge(const Answer &answer, const Request &request, double timeout_seconds, bool json,
              std::string &out);

// What a login or logout did to the stored session, from the session key
// stored before the request and after it (nothing when it could not be
// read): a login the gateway accepted but whose key was not stored fails,
// and a failed request that dropped the stored session says so.
void tell_login_state(const Request &request, const Answer &answer,
                      const std::optional<std::string> &before,
                      const std::optional<std::string> &after, Outcome &outcome);

}  // namespace pdctl

#endif
