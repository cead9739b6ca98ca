// gateway-sim under load, on loopback only: a thousand keep-alive
// connections, clients that never finish their headers, a burst from our
// transport, and bodies larger than memory should hold. Everyone must be
// answered and memory must stay bounded; times are printed, and bounded only
// generously (the machine is shared; speed is for benchmarks).
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <regex>
#include <thread>

#include "support/gateway_sim.h"
#include "support/golden.h"
#include "support/raw_http.h"
#include "support/wire_requests.h"

namespace {

using pd_test::GatewaySim;
using pd_test::exchange_on_each;
using pd_test::open_connection;
using pd_test::peak_kib;
using pd_test::stale_friends_request;
using Clock = std::chrono::steady_clock;

// Prints "N of M answered; min/median/max in ms" and returns N.
size_t report(const char *what, std::vector<double> took) {
  std::sort(took.begin(), took.end());
  auto answered = std::find_if(took.begin(), took.end(), [](double seconds) { return seconds >= 0; });
  size_t count = static_cast<size_t>(took.end() - answered);
  std::printf("%s: %zu of %zu answered; min %.1f ms, median %.1f ms, max %.1f ms\n", what, count, took.size(),
              count ? *answered * 1000 : -1, count ? answered[count / 2] * 1000 : -1, count ? took.back() * 1000 : -1);
  return count;
}

class Load : public ::testing::Test {
 protected:
  void SetUp() override {
    pd_test::raise_descriptor_limit();
    sim_.start({}, false);
  }

  GatewaySim sim_;
};

TEST_F(Load, AThousandKeepAliveConnectionsAreAllServedTwice) {
  std::vector<int> fds;
  for (int i = 0; i < 1000; ++i) fds.push_back(open_connection(sim_.http_port()));
  EXPECT_EQ(std::count(fds.begin(), fds.end(), -1), 0) << "connections refused";
  EXPECT_EQ(report("1000 connections, first request", exchange_on_each(fds, stale_friends_request(), 60)), 1000u);
  EXPECT_GE(sim_.counter("connections"), 1000) << "connections were closed between requests";
  EXPECT_EQ(report("1000 connections, second request", exchange_on_each(fds, stale_friends_request(), 60)), 1000u);
  for (int fd : fds) close(fd);
}

TEST_F(Load, ClientsThatNeverFinishTheirHeadersHoldNobodyUp) {
  std::vector<int> slow;
  std::string part = "POST /palisade/auth HTTP/1.1\r\nHost: gateway.palisade.example\r\n";
  for (int i = 0; i < 100; ++i) {
    slow.push_back(open_connection(sim_.http_port()));
    ASSERT_GE(slow.back(), 0);
    ASSERT_EQ(send(slow.back(), part.data(), part.size(), MSG_NOSIGNAL), static_cast<ssize_t>(part.size()));
  }
  std::vector<double> took;
  for (int i = 0; i < 50; ++i) {
    // A header line more from every slow client now and then.
    if (i % 10 == 0)
      for (int fd : slow) send(fd, "X-Slow: 1\r\n", 11, MSG_NOSIGNAL);
    Clock::time_point start = Clock::now();
    int fd = open_connection(sim_.http_port());
    std::vector<double> one = exchange_on_each({fd}, stale_friends_request(), 10);
    took.push_back(one[0] < 0 ? -1 : std::chrono::duration<double>(Clock::now() - start).count());
    close(fd);
  }
  EXPECT_EQ(report("a new client each time, 100 slow-header clients open", took), 50u);
  EXPECT_LT(*std::max_element(took.begin(), took.end()), 2.0) << "far beyond 100 ms";
  for (int fd : slow) close(fd);
}

TEST_F(Load, ABurstOfFiveHundredFromOurTransportIsAllAnswered) {
  using pd_test::Responses;
  sim_.export_environment();
  sns_nt_handle handle = nullptr;
  ASSERT_EQ(sns_nt_init(&handle), 0);
  ASSERT_EQ(sns_nt_setattr(handle, SNS_NT_ATTR_RESPONSE_CB, 1, reinterpret_cast<void *>(&Responses::callback)), 0);
  Clock::time_point start = Clock::now();
  std::string url = GatewaySim::gateway_url("/palisade/friend/grouping"), body = stale_friends_request();
  body = body.substr(body.find("\r\n\r\n") + 4);
  for (uint32_t id = 1; id <= 500; ++id)
    ASSERT_EQ(sns_nt_sendreq(handle, pd_test::xml_request(handle, id, 29, url, body)), 0);
  EXPECT_TRUE(Responses::instance().wait_for(500, 120));
  std::vector<pd_test::Delivered> all = Responses::instance().all();
  long ok = std::count_if(all.begin(), all.end(), [](auto &delivered) { return delivered.record.uHttpStatus == 200; });
  std::printf("burst of 500 from the transport: %ld answered with 200 in %.0f ms\n", ok,
              std::chrono::duration<double, std::milli>(Clock::now() - start).count());
  EXPECT_EQ(ok, 500);
  EXPECT_EQ(sns_nt_finalize(handle), 0);
}

// Eight uploads of 8 MiB at once go to disk as they arrive; the simulator
// grows by far less than they weigh. Bodies past the limits get 413.
TEST_F(Load, LargeBodiesAreStreamedOrRefusedWithMemoryBounded) {
  sim_.stop();
  sim_.start({"--max-body-bytes", std::to_string(1 << 20), "--max-upload-bytes", std::to_string(16 << 20)}, false);
  // A POST to a URL of the gateway's or the upload host, sent to the simulator.
  auto post = [this](const std::string &url, const std::string &body, std::string *answer,
                     std::vector<std::string> headers = {}) {
    answer->clear();
    return pd_test::http_request("POST", url, body, answer, {std::move(headers), GatewaySim::ca_file(), sim_.connect_to()});
  };
  std::string answer;
  ASSERT_EQ(post(GatewaySim::gateway_url("/palisade/auth"), pd_test::read_data("wire/requests/login.xml"), &answer), 200);
  std::smatch key;
  ASSERT_TRUE(std::regex_search(answer, key, std::regex("SessionKey=\"([0-9a-f]+)\""))) << answer;
  std::string add_photo = pd_test::read_data("wire/requests/add_photo.xml");
  add_photo = std::regex_replace(add_photo, std::regex("SessionKey=\"[0-9a-f]+\""), "SessionKey=\"" + key[1].str() + "\"");
  // A new upload's resource on the upload host.
  auto new_upload = [&] {
    std::string added;
    EXPECT_EQ(post(GatewaySim::gateway_url("/palisade/photo"), add_photo, &added), 200);
    return "http://" + GatewaySim::upload_host() + "/" +
           std::regex_replace(added, std::regex("(.|\n)*ResourceID=\"([^\"]+)\"(.|\n)*"), "$2");
  };
  std::vector<std::string> resources;
  for (int i = 0; i < 8; ++i) resources.push_back(new_upload());
  long before = peak_kib(sim_.pid());
  const size_t size = 8 << 20;
  std::string file(size, 'j');
  std::vector<std::thread> uploads;
  std::vector<std::string> answers(resources.size());
  std::vector<long> statuses(resources.size());
  for (size_t i = 0; i < resources.size(); ++i)
    uploads.emplace_back([&, i] {
      statuses[i] = post(resources[i], file, &answers[i],
                         {"Content-Type: image/jpg", "Content-Range: bytes 0-" + std::to_string(size - 1) + "/" +
                                                         std::to_string(size)});
    });
  for (std::thread &upload : uploads) upload.join();
  long after = peak_kib(sim_.pid());
  std::printf("8 uploads of 8 MiB at once: peak memory %ld kB before, %ld kB after\n", before, after);
  for (size_t i = 0; i < resources.size(); ++i) {
    EXPECT_EQ(statuses[i], 200) << answers[i];
    EXPECT_NE(answers[i].find("Status=\"done\""), std::string::npos) << answers[i];
  }
  EXPECT_LT(after - before, 16 * 1024) << "the uploads were held in memory";

  // Past the limits: a gateway request over 1 MiB (with and without waiting
  // for "100 Continue"), an upload whose file is over 16 MiB.
  std::string big(2 << 20, ' ');
  for (const char *expect : {"Expect:", "Expect: 100-continue"})
    EXPECT_EQ(post(GatewaySim::gateway_url("/palisade/search"), big, &answer, {expect}), 413) << expect;
  EXPECT_EQ(post(new_upload(), "x", &answer, {"Content-Range: bytes 0-0/" + std::to_string((16 << 20) + 1)}),
            413)
      << answer;
}

}  // namespace
