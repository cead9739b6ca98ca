// Faults made on purpose, set at start-up or while the simulator runs: a
// rule picks requests (by path, after some, for a number of them, with a
// probability) and says what goes wrong with their answers.
#ifndef GATEWAY_SIM_FAULTS_H
#define GATEWAY_SIM_FAULTS_H

#include <cstdint>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace gateway_sim {

// What happens to one answer. Several rules may meet one request; their
// effects add up, a later rule's value winning where both set one.
struct Effects {
  // The content of the answer.
  std::optional<int> status;                                // this HTTP status instead
  std::optional<std::pair<std::string, std::string>> envelope;  // ErrCode, ErrSubCode
  std::string context;                                      // ErrContext of the envelope
  bool malformed = false;                                   // only the first half of the body
  std::optional<uint64_t> pad;                              // this many bytes longer
  // How it travels.
  std::optional<uint64_t> delay_ms;       // the whole answer this much later
  bool drop = false;                      // the connection cut, no answer
  std::optional<uint64_t> truncate;       // the connection closed after this many body bytes
  std::optional<uint64_t> reset;          // the connection reset after this many body bytes
  std::optional<uint64_t> throttle;       // at most this many bytes a second
  std::optional<uint64_t> slice;          // the body in writes of this many bytes
  std::optional<uint64_t> slow_close_ms;  // the end marked only by a close this much later

  bool any() const;
  // Whether the answer leaves other than in one piece at once (see server).
  bool shapes_the_wire() const;
  // Whether the gateway itself is asked: a dropped request or an injected
  // error envelope never reaches it.
  bool serves() const { return !drop && !envelope; }
  void merge(const Effects &later);
  // The effects as key=value words, as they are set.
  std::string describe() const;
};

// "key=value" pairs, or a bare key (a flag).
using Fields = std::vector<std::pair<std::string, std::string>>;

// Splits "a=1&b=2" or "a=1 b=2" (form encoding, %XX and '+' decoded).
Fields parse_fields(const std::string &text);

struct FaultRule {
  int id = 0;
  std::string path = "*";  // "/exact", "PREFIX*" or "*"
  uint64_t skip = 0;       // requests on the path left alone first
  std::optional<uint64_t> count;  // how many requests it takes; none: every one
  double probability = 1;
  Effects effects;
  uint64_t seen = 0, applied = 0;

  bool matches(const std::string &request_path) const;
  std::string describe() const;
};

// Reads a rule from its fields; the error names the offending field and
// value. Paths must take in a served path.
std::optional<FaultRule> parse_rule(const Fields &fields, std::string *error);

class FaultTable {
 public:
  explicit FaultTable(uint64_t seed) : random_(seed) {}

  // Its id.
  int add(FaultRule rule);
  bool remove(int id);
  size_t clear();
  void reseed(uint64_t seed);
  // One line per rule, with its counts.
  std::string list() const;

  // Counts the request against every rule of its path and returns the
  // effects of those that take it.
  Effects take(const std::string &request_path);

 private:
  mutable std::mutex mutex_;
  std::vector<FaultRule> rules_;
  int next_id_ = 1;
  std::mt19937_64 random_;
};

}  // namespace gateway_sim

#endif
