// gateway-sim-ctl: sends one request to a running gateway-sim's control port
// and prints its answer.
//
//   gateway-sim-ctl --port N fault path=/upload/* skip=2 count=1 status=500
//   gateway-sim-ctl --ready-file FILE clear
#include <CLI/CLI.hpp>
#include <curl/curl.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

namespace {

// Exit codes.
enum Exit { kDone = 0, kRefused = 1, kUsage = 2, kUnreachable = 3 };

int port_from_ready_file(const std::string &path) {
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);)
    if (line.rfind("control_port=", 0) == 0) return std::atoi(line.c_str() + 13);
  return 0;
}

std::string form_encode(CURL *easy, const std::string &text) {
  char *escaped = curl_easy_escape(easy, text.c_str(), static_cast<int>(text.size()));
  std::string out = escaped != nullptr ? escaped : "";
  curl_free(escaped);
  return out;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app{"gateway-sim-ctl: change a running gateway-sim through its control port"};
  app.footer(
      "Fault fields: path (/exact, PREFIX* or *; default *), skip, count, probability, and what\n"
      "goes wrong: status=N, envelope=CODE[/SUB], context=TEXT, malformed, pad=BYTES, delay=MS,\n"
      "drop, truncate=BYTES, reset=BYTES, throttle=BYTES_PER_S, slice=BYTES, slow-close=MS.\n"
      "Exit codes: 0 done; 1 gateway-sim refused the request (its reason is shown);\n"
      "2 usage error; 3 gateway-sim could not be reached.");
  int port = 0;
  std::string ready_file, host = "127.0.0.1";
  app.add_option("--port", port, "the control port")->check(CLI::Range(1, 65535));
  app.add_option("--ready-file", ready_file, "read the control port from gateway-sim's ready file")
      ->check(CLI::ExistingFile);
  app.add_option("--host", host, "where gateway-sim runs")->capture_default_str();
  std::vector<std::string> fields;
  std::string id, seed_file;
  uint64_t value = 0;
  CLI::App *fault = app.add_subcommand("fault", "add a fault from KEY=VALUE fields; prints its id");
  fault->add_option("fields", fields, "KEY=VALUE ...")->required();
  CLI::App *faults = app.add_subcommand("faults", "list the faults with their counts");
  CLI::App *clear = app.add_subcommand("clear", "clear one fault by its id, or all");
  clear->add_option("id", id, "the fault's id");
  CLI::App *reset = app.add_subcommand("reset", "the network back to its seed, or to the seed in FILE");
  reset->add_option("seed", seed_file, "a seed (JSON)")->check(CLI::ExistingFile);
  CLI::App *reseed = app.add_subcommand("reseed", "draw keys and fault probabilities from NUMBER on");
  reseed->add_option("number", value, "the seed")->required();
  CLI::App *status = app.add_subcommand("status", "requests and connections so far, replay report");
  app.require_subcommand(1, 1);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? kDone : kUsage;
  }
  if (!ready_file.empty()) port = port_from_ready_file(ready_file);
  if (port <= 0) {
    std::cerr << "gateway-sim-ctl: give --port, or --ready-file with a control_port line\n";
    return kUsage;
  }

  curl_global_init(CURL_GLOBAL_DEFAULT);
  CURL *easy = curl_easy_init();
  if (easy == nullptr) return kUnreachable;
  std::string method = "GET", path = "/", body;
  if (fault->parsed()) {
    method = "POST";
    path = "/faults";
    for (const std::string &field : fields) {
      size_t equals = field.find('=');
      body += (body.empty() ? "" : "&") + form_encode(easy, field.substr(0, equals));
      if (equals != std::string::npos) body += "=" + form_encode(easy, field.substr(equals + 1));
    }
  } else if (faults->parsed()) {
    path = "/faults";
  } else if (clear->parsed()) {
    method = "DELETE";
    path = id.empty() ? "/faults" : "/faults/" + form_encode(easy, id);
  } else if (reset->parsed()) {
    method = "POST";
    path = "/reset";
    if (!seed_file.empty()) {
      std::ifstream in(seed_file, std::ios::binary);
      std::ostringstream text;
      text << in.rdbuf();
      body = text.str();
    }
  } else if (reseed->parsed()) {
    method = "POST";
    path = "/reseed";
    body = "value=" + std::to_string(value);
  } else if (status->parsed()) {
    path = "/status";
  }

  std::string url = "http://" + host + ":" + std::to_string(port) + path, answer;
  curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROXY, "");
  curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.c_str());
  if (method != "GET") {
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
  }
  curl_easy_setopt(easy, CURLOPT_TIMEOUT, 30L);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &answer);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, +[](char *bytes, size_t size, size_t count, void *out) {
    static_cast<std::string *>(out)->append(bytes, size * count);
    return size * count;
  });
  CURLcode result = curl_easy_perform(easy);
  long code = 0;
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &code);
  curl_easy_cleanup(easy);
  curl_global_cleanup();
  if (result != CURLE_OK) {
    std::cerr << "gateway-sim-ctl: " << url << ": " << curl_easy_strerror(result) << "\n";
    return kUnreachable;
  }
  std::fputs(answer.c_str(), code >= 200 && code < 300 ? stdout : stderr);
  return code >= 200 && code < 300 ? kDone : kRefused;
}
