#include "server.h"

#include <fcntl.h>
#include <linux/sockios.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <mutex>
#include <thread>

namespace gateway_sim {

using Clock = std::chrono::steady_clock;

// Connections waiting for their time: a delayed answer, the next slice of a
// throttled one, a slow close. A waiting connection is suspended, so it
// holds no worker thread; this one thread resumes each when it is due.
class Pauses {
 public:
  Pauses() : thread_([this] { run(); }) {}
  ~Pauses() {
    stop();
    thread_.join();
  }

  // Suspends `connection` until `when`. False (nothing suspended) once the
  // server is stopping: the caller then ends the answer instead.
  bool pause(MHD_Connection *connection, Clock::time_point when) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (stopping_) return false;
    }
    MHD_suspend_connection(connection);
    std::unique_lock<std::mutex> lock(mutex_);
    if (stopping_) {
      // stop() has already resumed the others; this one missed it.
      lock.unlock();
      MHD_resume_connection(connection);
      return true;
    }
    due_.emplace(when, connection);
    changed_.notify_one();
    return true;
  }

  bool stopping() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return stopping_;
  }

  // Resumes every waiting connection; the daemons may not stop with one
  // suspended.
  void stop() {
    std::multimap<Clock::time_point, MHD_Connection *> waiting;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stopping_ = true;
      waiting.swap(due_);
      changed_.notify_one();
    }
    for (auto &[when, connection] : waiting) MHD_resume_connection(connection);
  }

 private:
  void run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_) {
      if (due_.empty()) {
        changed_.wait(lock);
        continue;
      }
      auto first = due_.begin();
      if (first->first > Clock::now()) {
        // A copy: stop() may free the entry while this waits.
        Clock::time_point when = first->first;
        changed_.wait_until(lock, when);
        continue;
      }
      MHD_Connection *connection = first->second;
      due_.erase(first);
      lock.unlock();
      MHD_resume_connection(connection);
      lock.lock();
    }
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::multimap<Clock::time_point, MHD_Connection *> due_;
  bool stopping_ = false;
  std::thread thread_;
};

// What a listening port's callbacks are given.
struct Port {
  Server::Shared *shared;
  bool secure;
};

struct Server::Shared {
  ServerConfig config;
  Gateway *gateway;
  Replayer *replayer;
  Forwarder *forwarder;
  FaultTable &faults;
  TraceWriter *trace;
  Controlled control;
  Pauses pauses;
  std::atomic<uint64_t> requests{0}, connections{0}, most_connections{0}, too_large{0};
  Port http_port{this, false}, https_port{this, true};

  Shared(ServerConfig c, Gateway *g, Replayer *r, Forwarder *w, FaultTable &f, TraceWriter *t)
      : config(std::move(c)), gateway(g), replayer(r), forwarder(w), faults(f), trace(t) {
    control.faults = &f;
  }
};

namespace {

using Shared = Server::Shared;

int socket_of(MHD_Connection *connection) {
  const MHD_ConnectionInfo *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
  return info != nullptr ? info->connect_fd : -1;
}

// Ends the connection with a reset, now. (A zero linger would only reset
// at the close, after the end that the server's shutdown already sent.)
// Disconnecting leaves the descriptor to its owner, which closes it later.
void reset_now(MHD_Connection *connection) {
  int fd = socket_of(connection);
  sockaddr none{};
  none.sa_family = AF_UNSPEC;
  if (fd >= 0) connect(fd, &none, sizeof none);
}

// Bytes handed to the kernel that have not left yet.
int unsent(MHD_Connection *connection) {
  int fd = socket_of(connection), count = 0;
  if (fd < 0 || ioctl(fd, SIOCOUTQ, &count) != 0) return 0;
  return count;
}

std::string peer_of(MHD_Connection *connection) {
  const MHD_ConnectionInfo *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
  if (info == nullptr || info->client_addr == nullptr || info->client_addr->sa_family != AF_INET) return "";
  const auto *address = reinterpret_cast<const sockaddr_in *>(info->client_addr);
  char text[32];
  uint32_t ip = ntohl(address->sin_addr.s_addr);
  std::snprintf(text, sizeof text, "%u.%u.%u.%u:%u", ip >> 24, (ip >> 16) & 255, (ip >> 8) & 255, ip & 255,
                ntohs(address->sin_port));
  return text;
}

std::optional<uint64_t> number_header(const TraceMessage &head, const char *name) {
  const std::string *text = head.header(name);
  if (text == nullptr) return std::nullopt;
  uint64_t value = 0;
  auto [end, failed] = std::from_chars(text->data(), text->data() + text->size(), value);
  if (failed != std::errc() || end != text->data() + text->size()) return std::nullopt;
  return value;
}

// The part of the effects that the bytes of a recorded reply do not show.
Effects wire_only(const Effects &effects) {
  Effects wire;
  wire.delay_ms = effects.delay_ms;
  wire.drop = effects.drop;
  wire.truncate = effects.truncate;
  wire.reset = effects.reset;
  wire.throttle = effects.throttle;
  wire.slice = effects.slice;
  wire.slow_close_ms = effects.slow_close_ms;
  return wire;
}

// An answer that leaves other than at once and whole: in slices, throttled,
// cut short, or ended only by a slow close. Read by libmicrohttpd through
// `read`, which suspends the connection whenever the next bytes are not due.
struct Stream {
  Shared *shared;
  MHD_Connection *connection;
  Effects effects;
  std::string body;
  int fd = -1;  // a stored picture instead of `body`
  uint64_t size = 0;
  Clock::time_point start{}, next{};
  bool closing = false;
  int flushes = 0;

  ~Stream() {
    if (fd >= 0) close(fd);
  }

  ssize_t wait(Clock::time_point until) {
    return shared->pauses.pause(connection, until) ? 0 : MHD_CONTENT_READER_END_WITH_ERROR;
  }

  ssize_t read(uint64_t pos, char *buffer, size_t max) {
    Clock::time_point now = Clock::now();
    if (start == Clock::time_point{}) start = now;
    std::optional<uint64_t> cut = effects.truncate ? effects.truncate : effects.reset;
    if (cut && pos >= *cut) {
      if (effects.reset) {
        // A reset throws away what the kernel has not sent yet: let the
        // promised bytes leave first (a client that stopped reading gets
        // its reset a second later anyway).
        if (unsent(connection) > 0 && ++flushes < 1000) return wait(now + std::chrono::milliseconds(1));
        reset_now(connection);
      }
      return MHD_CONTENT_READER_END_WITH_ERROR;
    }
    if (pos >= size) {
      if (effects.slow_close_ms && !closing) {
        closing = true;
        return wait(now + std::chrono::milliseconds(*effects.slow_close_ms));
      }
      return MHD_CONTENT_READER_END_OF_STREAM;
    }
    if (shared->pauses.stopping()) return MHD_CONTENT_READER_END_WITH_ERROR;
    if (next > now) return wait(next);
    uint64_t count = std::min<uint64_t>(max, size - pos);
    if (cut) count = std::min(count, *cut - pos);
    if (effects.slice) {
      count = std::min(count, *effects.slice);
      next = now + std::chrono::milliseconds(1);
    }
    if (effects.throttle) {
      double seconds = std::chrono::duration<double>(now - start).count();
      uint64_t allowed = static_cast<uint64_t>(seconds * static_cast<double>(*effects.throttle));
      if (allowed <= pos) {
        auto due = start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(
                               static_cast<double>(pos + 1) / static_cast<double>(*effects.throttle)));
        return wait(std::max(due, now + std::chrono::microseconds(100)));
      }
      count = std::min({count, allowed - pos, std::max<uint64_t>(1, *effects.throttle / 20)});
    }
    if (fd >= 0) {
      ssize_t got = pread(fd, buffer, static_cast<size_t>(count), static_cast<off_t>(pos));
      return got > 0 ? got : MHD_CONTENT_READER_END_WITH_ERROR;
    }
    std::copy_n(body.data() + pos, count, buffer);
    return static_cast<ssize_t>(count);
  }
};

// One request and its answer, from its head to the end of its connection's
// turn.
class Exchange {
 public:
  Exchange(Shared &shared, MHD_Connection *connection, bool secure)
      : shared_(shared), connection_(connection), secure_(secure) {}
  ~Exchange() {
    if (spool_ != nullptr) std::fclose(spool_);
  }

  MHD_Result begin(const char *url, const char *method, const char *version);
  MHD_Result take(const char *data, size_t size);
  MHD_Result finish();

 private:
  enum class Body { held, chunk, discarded };

  MHD_Result answer_now(Outgoing out);
  Outgoing decide();
  Outgoing replayed();
  Outgoing forwarded();
  Outgoing answer_as_received(int status, const std::vector<std::pair<std::string, std::string>> &headers,
                              const std::string &body);
  void record(const Outgoing &out);
  MHD_Result deliver();
  void spool(const char *data, size_t size);
  void log(const Outgoing &out) const;

  Shared &shared_;
  MHD_Connection *connection_;
  bool secure_;
  std::string method_, path_;
  TraceMessage request_;
  Body body_mode_ = Body::held;
  bool too_large_ = false;
  std::unique_ptr<ChunkSink> sink_;
  std::optional<Outgoing> refusal_;
  std::FILE *spool_ = nullptr;
  uint64_t spooled_ = 0;
  bool spool_whole_ = true;
  Effects effects_;
  std::vector<std::pair<std::string, std::string>> reply_headers_;
  Outgoing out_;
  bool delayed_ = false;
};

std::string query_of(MHD_Connection *connection) {
  std::string query;
  MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND,
                            [](void *cls, MHD_ValueKind, const char *key, const char *value) -> MHD_Result {
                              auto &text = *static_cast<std::string *>(cls);
                              text += (text.empty() ? "" : "&") + std::string(key) +
                                      (value != nullptr ? "=" + std::string(value) : "");
                              return MHD_YES;
                            },
                            &query);
  return query;
}

MHD_Result Exchange::begin(const char *url, const char *method, const char *version) {
  method_ = method;
  path_ = url;
  std::string query = query_of(connection_);
  request_.start = method_ + " " + path_ + (query.empty() ? "" : "?" + query) + " " + version;
  MHD_get_connection_values(connection_, MHD_HEADER_KIND,
                            [](void *cls, MHD_ValueKind, const char *key, const char *value) -> MHD_Result {
                              static_cast<TraceMessage *>(cls)->headers.emplace_back(key, value ? value : "");
                              return MHD_YES;
                            },
                            &request_);
  const ServerConfig &config = shared_.config;
  std::optional<uint64_t> length = number_header(request_, "Content-Length");
  if (shared_.gateway != nullptr && Gateway::is_upload_chunk(method_, path_, secure_)) {
    const std::string *range = request_.header("Content-Range");
    ChunkStart start = shared_.gateway->begin_chunk(path_, range ? *range : "", length);
    if (start.sink) {
      body_mode_ = Body::chunk;
      sink_ = std::move(start.sink);
    } else {
      body_mode_ = Body::discarded;
      refusal_ = std::move(start.refusal);
    }
  } else if (length && *length > config.max_body_bytes) {
    body_mode_ = Body::discarded;
    too_large_ = true;
  }
  // A client that waits for "100 Continue" is told at once; others send
  // their body, which is read and thrown away, so they see the answer
  // rather than a reset.
  const std::string *expect = request_.header("Expect");
  if (body_mode_ == Body::discarded && expect != nullptr && length && *length > 0) {
    return answer_now(decide());
  }
  if (shared_.trace != nullptr && body_mode_ != Body::held) spool_ = std::tmpfile();
  return MHD_YES;
}

void Exchange::spool(const char *data, size_t size) {
  if (spool_ == nullptr || !spool_whole_) return;
  if (spooled_ + size > shared_.config.max_upload_bytes ||
      std::fwrite(data, 1, size, spool_) != size) {
    spool_whole_ = false;
    return;
  }
  spooled_ += size;
}

MHD_Result Exchange::take(const char *data, size_t size) {
  switch (body_mode_) {
    case Body::held:
      if (request_.body.size() + size > shared_.config.max_body_bytes) {
        // Chunked, so the length showed only now.
        body_mode_ = Body::discarded;
        too_large_ = true;
        request_.body.clear();
        request_.body.shrink_to_fit();
        return MHD_YES;
      }
      request_.body.append(data, size);
      return MHD_YES;
    case Body::chunk:
      sink_->write(data, size);
      spool(data, size);
      return MHD_YES;
    case Body::discarded:
      spool(data, size);
      return MHD_YES;
  }
  return MHD_YES;
}

Outgoing Exchange::replayed() {
  const TraceExchange *recorded = shared_.replayer->take(method_, path_, request_.body);
  if (recorded == nullptr) {
    std::fprintf(stderr, "gateway-sim: replay: no recorded exchange matches %s %s (%zu bytes)\n",
                 method_.c_str(), path_.c_str(), request_.body.size());
    return Outgoing{404, "text/xml; charset=UTF-8",
                    error_envelope("4", "0", "no recorded exchange matches " + method_ + " " + path_), {}};
  }
  if (!recorded->fault.empty()) {
    std::string ignored;
    if (std::optional<FaultRule> rule = parse_rule(parse_fields(recorded->fault), &ignored))
      effects_.merge(rule->effects);
  }
  if (!recorded->reply) {
    effects_.drop = true;
    return {};
  }
  return answer_as_received(recorded->status(), recorded->reply->headers, recorded->reply->body);
}

Outgoing Exchange::forwarded() {
  std::string why;
  std::optional<ForwardedReply> reply = shared_.forwarder->forward(request_, secure_, &why);
  if (!reply) {
    std::fprintf(stderr, "gateway-sim: forward: %s %s to %s: %s\n", method_.c_str(), path_.c_str(),
                 shared_.forwarder->base(secure_).c_str(), why.c_str());
    return Outgoing{502, "text/xml; charset=UTF-8",
                    error_envelope("4", "0", "no answer from " + shared_.forwarder->base(secure_) + ": " + why), {}};
  }
  return answer_as_received(reply->status, reply->headers, reply->body);
}

// An answer given as another server gave it: its status, body and headers,
// but for those this server sets itself for the connection it answers on.
Outgoing Exchange::answer_as_received(int status,
                                      const std::vector<std::pair<std::string, std::string>> &headers,
                                      const std::string &body) {
  Outgoing out{status, "", body, {}};
  for (const auto &[name, value] : headers) {
    static const char *const kMadeHere[] = {"content-length", "connection", "date", "transfer-encoding",
                                            "keep-alive", "content-type"};
    if (same_header_name(name, "content-type")) out.content_type = value;
    if (std::none_of(std::begin(kMadeHere), std::end(kMadeHere),
                     [&](const char *made) { return same_header_name(name, made); }))
      reply_headers_.emplace_back(name, value);
  }
  return out;
}

Outgoing Exchange::decide() {
  ++shared_.requests;
  Effects control = shared_.faults.take(path_);
  if (too_large_) {
    ++shared_.too_large;
    effects_ = control;
    return Outgoing{413, "text/xml; charset=UTF-8",
                    error_envelope("1", "0", "request body larger than " +
                                                 std::to_string(shared_.config.max_body_bytes) + " bytes"),
                    {}};
  }
  Outgoing out;
  if (shared_.replayer != nullptr || shared_.forwarder != nullptr) {
    out = shared_.replayer != nullptr ? replayed() : forwarded();
    effects_.merge(control);
  } else {
    effects_ = control;
    if (refusal_) out = *refusal_;
    else if (!effects_.serves()) out = {};
    else if (sink_) out = shared_.gateway->finish_chunk(*sink_);
    else {
      const std::string *range = request_.header("Content-Range");
      out = shared_.gateway->handle(Incoming{method_, path_, secure_, range ? *range : "", request_.body});
    }
  }
  sink_.reset();  // unfinished (the request was not served): the upload is as it was
  if (effects_.envelope)
    out = Outgoing{200, "text/xml; charset=UTF-8",
                   error_envelope(effects_.envelope->first, effects_.envelope->second,
                                  effects_.context.empty() ? "fault set in gateway-sim" : effects_.context),
                   {}};
  if (effects_.status) out.status = *effects_.status;
  if (out.file.empty()) {
    if (effects_.pad) {
      // A comment after the root keeps the document well-formed, only long.
      out.body += "<!--";
      out.body.append(*effects_.pad, '.');
      out.body += "-->\n";
    }
    if (effects_.malformed) out.body.resize(out.body.size() / 2);
  }
  return out;
}

void Exchange::record(const Outgoing &out) {
  if (shared_.trace == nullptr) return;
  TraceExchange exchange;
  exchange.scheme = secure_ ? "https" : "http";
  exchange.peer = peer_of(connection_);
  exchange.fault = wire_only(effects_).describe();
  exchange.request = request_;
  BodyFile request_body, reply_body;
  if (spool_ != nullptr && spool_whole_ && std::fflush(spool_) == 0)
    request_body = BodyFile{fileno(spool_), spooled_};
  int file = -1;
  if (!effects_.drop) {
    TraceMessage reply;
    const char *reason = MHD_get_reason_phrase_for(static_cast<unsigned>(out.status));
    reply.start = "HTTP/1.1 " + std::to_string(out.status) + (reason && *reason ? std::string(" ") + reason : "");
    reply.headers = reply_headers_;
    reply.headers.emplace_back("Content-Type", out.content_type);
    uint64_t size = out.body.size();
    if (!out.file.empty()) {
      file = open(out.file.c_str(), O_RDONLY | O_CLOEXEC);
      struct stat info {};
      if (file >= 0 && fstat(file, &info) == 0) {
        size = static_cast<uint64_t>(info.st_size);
        if (effects_.malformed) size /= 2;
        reply_body = BodyFile{file, size};
      }
    }
    if (effects_.slow_close_ms)
      reply.headers.emplace_back("Connection", "close");
    else
      reply.headers.emplace_back("Content-Length", std::to_string(size));
    reply.body = out.body;
    exchange.reply = std::move(reply);
  }
  if (!shared_.trace->write(exchange, request_body, reply_body))
    std::fprintf(stderr, "gateway-sim: an exchange could not be recorded\n");
  if (file >= 0) close(file);
}

MHD_Result Exchange::answer_now(Outgoing out) {
  out_ = std::move(out);
  record(out_);
  return deliver();
}

MHD_Result Exchange::finish() {
  if (delayed_) return deliver();
  out_ = decide();
  record(out_);
  if (effects_.delay_ms) {
    delayed_ = true;
    if (!shared_.pauses.pause(connection_, Clock::now() + std::chrono::milliseconds(*effects_.delay_ms)))
      return MHD_NO;
    return MHD_YES;
  }
  return deliver();
}

void Exchange::log(const Outgoing &out) const {
  if (!shared_.config.verbose) return;
  std::string fault = effects_.describe();
  std::fprintf(stderr, "gateway-sim: %s %s %s -> %s%s%s\n", secure_ ? "https" : "http", method_.c_str(),
               path_.c_str(), effects_.drop ? "dropped" : std::to_string(out.status).c_str(),
               fault.empty() ? "" : " with ", fault.c_str());
}

MHD_Result Exchange::deliver() {
  log(out_);
  // Closed without a word, as a server that gave up on the request.
  if (effects_.drop) return MHD_NO;
  int fd = -1;
  uint64_t size = out_.body.size();
  if (!out_.file.empty()) {
    fd = open(out_.file.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (fd < 0 || fstat(fd, &info) != 0) {
      if (fd >= 0) close(fd);
      fd = -1;
      out_ = Outgoing{404, "text/xml; charset=UTF-8", error_envelope("5", "502", "the picture is gone"), {}};
      size = out_.body.size();
    } else {
      size = static_cast<uint64_t>(info.st_size);
      if (effects_.malformed) size /= 2;
    }
  }
  MHD_Response *response = nullptr;
  if (effects_.shapes_the_wire()) {
    auto *stream = new Stream{&shared_, connection_, effects_, std::move(out_.body), fd, size};
    response = MHD_create_response_from_callback(
        effects_.slow_close_ms ? MHD_SIZE_UNKNOWN : size,
        effects_.slice ? static_cast<size_t>(std::min<uint64_t>(*effects_.slice, 65536)) : 4096,
        [](void *cls, uint64_t pos, char *buffer, size_t max) {
          return static_cast<Stream *>(cls)->read(pos, buffer, max);
        },
        stream, [](void *cls) { delete static_cast<Stream *>(cls); });
    if (response == nullptr) delete stream;
    // The end of a slowly closed answer is its close: no length, no chunks.
    if (response != nullptr && effects_.slow_close_ms)
      MHD_set_response_options(response, MHD_RF_HTTP_1_0_COMPATIBLE_STRICT, MHD_RO_END);
  } else if (fd >= 0) {
    response = MHD_create_response_from_fd(size, fd);
    if (response == nullptr) close(fd);
  } else {
    response = MHD_create_response_from_buffer(out_.body.size(), out_.body.data(), MHD_RESPMEM_MUST_COPY);
  }
  if (response == nullptr) return MHD_NO;
  for (const auto &[name, value] : reply_headers_) MHD_add_response_header(response, name.c_str(), value.c_str());
  MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, out_.content_type.c_str());
  MHD_Result queued = MHD_queue_response(connection_, static_cast<unsigned>(out_.status), response);
  MHD_destroy_response(response);
  return queued;
}

MHD_Result on_request(void *cls, MHD_Connection *connection, const char *url, const char *method,
                      const char *version, const char *upload_data, size_t *upload_data_size,
                      void **con_cls) {
  auto *port = static_cast<Port *>(cls);
  auto *exchange = static_cast<Exchange *>(*con_cls);
  if (exchange == nullptr) {
    exchange = new Exchange(*port->shared, connection, port->secure);
    *con_cls = exchange;
    return exchange->begin(url, method, version);
  }
  if (*upload_data_size > 0) {
    MHD_Result result = exchange->take(upload_data, *upload_data_size);
    *upload_data_size = 0;
    return result;
  }
  return exchange->finish();
}

void on_completed(void *, MHD_Connection *, void **con_cls, MHD_RequestTerminationCode) {
  delete static_cast<Exchange *>(*con_cls);
  *con_cls = nullptr;
}

void on_connection(void *cls, MHD_Connection *, void **, MHD_ConnectionNotificationCode code) {
  auto *shared = static_cast<Shared *>(cls);
  if (code == MHD_CONNECTION_NOTIFY_STARTED) {
    uint64_t now = ++shared->connections;
    uint64_t most = shared->most_connections.load();
    while (now > most && !shared->most_connections.compare_exchange_weak(most, now)) {
    }
  } else {
    --shared->connections;
  }
}

// The control port: small bodies, plain text answers.
struct ControlRequest {
  std::string body;
  bool too_large = false;
};

MHD_Result on_control(void *cls, MHD_Connection *connection, const char *url, const char *method,
                      const char *, const char *upload_data, size_t *upload_data_size, void **con_cls) {
  auto *shared = static_cast<Shared *>(cls);
  auto *request = static_cast<ControlRequest *>(*con_cls);
  if (request == nullptr) {
    *con_cls = new ControlRequest;
    return MHD_YES;
  }
  if (*upload_data_size > 0) {
    if (request->body.size() + *upload_data_size > (size_t{1} << 20)) request->too_large = true;
    else request->body.append(upload_data, *upload_data_size);
    *upload_data_size = 0;
    return MHD_YES;
  }
  ControlReply reply = request->too_large
                           ? ControlReply{413, "error: a control request is at most 1 MiB\n"}
                           : control(shared->control, method, url, query_of(connection), request->body);
  MHD_Response *response =
      MHD_create_response_from_buffer(reply.text.size(), reply.text.data(), MHD_RESPMEM_MUST_COPY);
  if (response == nullptr) return MHD_NO;
  MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, "text/plain; charset=UTF-8");
  MHD_Result queued = MHD_queue_response(connection, static_cast<unsigned>(reply.status), response);
  MHD_destroy_response(response);
  return queued;
}

void on_control_completed(void *, MHD_Connection *, void **con_cls, MHD_RequestTerminationCode) {
  delete static_cast<ControlRequest *>(*con_cls);
  *con_cls = nullptr;
}

}  // namespace

Server::Server(ServerConfig config, Gateway *gateway, Replayer *replayer, Forwarder *forwarder,
               FaultTable &faults, TraceWriter *trace)
    : shared_(std::make_unique<Shared>(std::move(config), gateway, replayer, forwarder, faults, trace)) {}

Server::~Server() { stop(); }

bool Server::start(int http_fd, int https_fd, int control_fd, Controlled control, std::string *error) {
  shared_->control = std::move(control);
  Shared *shared = shared_.get();
  const ServerConfig &config = shared->config;
  auto start_port = [&](int fd, bool secure) -> MHD_Daemon * {
    Port *port = secure ? &shared->https_port : &shared->http_port;
    // poll(), not epoll: with epoll's edge-triggered events a few requests
    // of a thousand connections, or of a burst, were at times never
    // answered when the machine was busy (sanitizer builds, emulation).
    unsigned flags = MHD_USE_POLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_SUPPRESS_DATE_NO_CLOCK |
                     (secure ? MHD_USE_TLS : 0);
    MHD_OptionItem tls[] = {
        {MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char *>(config.key_pem.c_str())},
        {MHD_OPTION_HTTPS_MEM_CERT, 0, const_cast<char *>(config.cert_pem.c_str())},
        {MHD_OPTION_END, 0, nullptr}};
    MHD_OptionItem plain[] = {{MHD_OPTION_END, 0, nullptr}};
    MHD_Daemon *daemon = MHD_start_daemon(
        flags, 0, nullptr, nullptr, on_request, port, MHD_OPTION_LISTEN_SOCKET, fd,
        MHD_OPTION_THREAD_POOL_SIZE, static_cast<unsigned>(std::max(1u, config.threads)),
        MHD_OPTION_CONNECTION_LIMIT, config.connection_limit, MHD_OPTION_CONNECTION_TIMEOUT,
        config.idle_timeout_s, MHD_OPTION_NOTIFY_COMPLETED, on_completed, nullptr,
        MHD_OPTION_NOTIFY_CONNECTION, on_connection, shared, MHD_OPTION_ARRAY, secure ? tls : plain,
        MHD_OPTION_END);
    return daemon;
  };
  http_ = start_port(http_fd, false);
  if (http_ == nullptr) return *error = "the HTTP port cannot be served", false;
  https_ = start_port(https_fd, true);
  if (https_ == nullptr) return *error = "the certificate or key cannot be used for HTTPS", false;
  control_ = MHD_start_daemon(MHD_USE_POLL_INTERNAL_THREAD, 0, nullptr, nullptr,
                              on_control, shared, MHD_OPTION_LISTEN_SOCKET, control_fd,
                              MHD_OPTION_CONNECTION_TIMEOUT, config.idle_timeout_s,
                              MHD_OPTION_NOTIFY_COMPLETED, on_control_completed, nullptr, MHD_OPTION_END);
  if (control_ == nullptr) return *error = "the control port cannot be served", false;
  return true;
}

void Server::stop() {
  if (control_ != nullptr) MHD_stop_daemon(control_);
  control_ = nullptr;
  shared_->pauses.stop();
  if (http_ != nullptr) MHD_stop_daemon(http_);
  if (https_ != nullptr) MHD_stop_daemon(https_);
  http_ = https_ = nullptr;
}

std::string Server::counters() const {
  return "requests=" + std::to_string(shared_->requests.load()) + "\nconnections=" +
         std::to_string(shared_->connections.load()) + "\nmost_connections=" +
         std::to_string(shared_->most_connections.load()) + "\ntoo_large=" +
         std::to_string(shared_->too_large.load()) + "\n";
}

}  // namespace gateway_sim
