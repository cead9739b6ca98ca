// gateway-sim's request handling, driven directly with request documents
// written exactly as the plug-in writes them (tests/data/wire/requests) and
// compared with the replies a reviewer reads in tests/data/wire/replies.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#include "gateway.h"
#include "pd-plugin/pd_data.h"
#include "support/golden.h"

namespace {

using namespace gateway_sim;

std::string seed_text() {
  std::ifstream in(PD_GATEWAY_SIM_SEED, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// Keys 000..001, 000..002, ... and a clock that stands still, so replies are
// the same on every run.
std::unique_ptr<Gateway> make_gateway(bool cdata = false) {
  unsigned long long counter = 0;
  Environment environment{[counter]() mutable {
                            char key[33];
                            std::snprintf(key, sizeof key, "%032llx", ++counter);
                            return std::string(key);
                          },
                          [] { return int64_t{1700001000}; },
                          {}};
  Options options;
  options.cdata = cdata;
  return std::make_unique<Gateway>(Network::from_seed(seed_text()), options, environment);
}

Outgoing post(Gateway &gateway, const std::string &path, const std::string &request_file) {
  return gateway.handle(Incoming{"POST", path, path == "/palisade/auth", "",
                                 pd_test::read_data("wire/requests/" + request_file + ".xml")});
}

// The session of tests/data/wire/conversation.txt, each reply against its
// golden file; the picture it uploads is stored whole.
TEST(GatewaySim, AnswersTheConversationOfAPlugIn) {
  auto gateway = make_gateway();
  std::string picture(150000, '\0');
  for (size_t i = 0; i < picture.size(); ++i) picture[i] = static_cast<char>((i * 7919) >> 3);
  std::istringstream steps(pd_test::read_data("wire/conversation.txt"));
  for (std::string request, method, scheme, path, reply, range; steps >> request;) {
    if (request[0] == '#') {
      std::getline(steps, request);
      continue;
    }
    int status = 0;
    steps >> method >> scheme >> path >> reply >> status;
    std::getline(steps, range);
    SCOPED_TRACE(request + " " + scheme + " " + path + range);
    std::string body;
    if (request[0] == '@')
      body = picture.substr(std::stoul(request.substr(1)), std::stoul(request.substr(request.find('+') + 1)));
    else if (request != "-")
      body = pd_test::read_data("wire/requests/" + request + ".xml");
    range = range.substr(range.empty() ? 0 : 1);
    Outgoing answer = gateway->handle(Incoming{method, path, scheme == "https", range, body});
    EXPECT_EQ(answer.status, status);
    EXPECT_TRUE(reply == "-" || pd_test::matches_golden("wire/replies/" + reply + ".xml", answer.body));
    if (path.rfind("/media/", 0) == 0) {
      std::ifstream stored(answer.file, std::ios::binary);
      EXPECT_TRUE(std::string(std::istreambuf_iterator<char>(stored), {}) == picture) << "the stored picture differs";
    }
  }
}

// A chunk streams into the upload's file as it arrives. Cut short (its
// client went away) or too long, it leaves the upload as it was; a second
// chunk while one arrives is refused; a reset forgets the upload.
TEST(GatewaySim, AChunkThatFailsLeavesTheUploadAsItWas) {
  auto gateway = make_gateway();
  post(*gateway, "/palisade/auth", "login");
  post(*gateway, "/palisade/photo", "add_photo");
  const std::string resource = "/upload/00000000000000000000000000000003";
  {
    ChunkStart cut = gateway->begin_chunk(resource, "bytes 0-9/20", 10);
    ASSERT_TRUE(cut.sink);
    EXPECT_EQ(gateway->begin_chunk(resource, "bytes 0-9/20", 10).refusal.status, 409);
    cut.sink->write("01234", 5);
  }
  EXPECT_EQ(gateway->handle(Incoming{"POST", resource, false, "bytes 0-9/20", "0123456789"}).status, 200);
  ChunkStart longer = gateway->begin_chunk(resource, "bytes 10-19/20", std::nullopt);
  ASSERT_TRUE(longer.sink);
  longer.sink->write("abcdefghijk", 11);
  EXPECT_EQ(gateway->finish_chunk(*longer.sink).status, 416);
  ChunkStart after_reset = gateway->begin_chunk(resource, "bytes 10-19/20", std::nullopt);
  ASSERT_TRUE(after_reset.sink);
  gateway->reset(Network::from_seed(seed_text()));
  after_reset.sink->write("abcdefghij", 10);
  EXPECT_EQ(gateway->finish_chunk(*after_reset.sink).status, 404);
}

TEST(GatewaySim, CdataRepliesStripToTheEscapedReply) {
  auto plain = make_gateway(false);
  auto cdata = make_gateway(true);
  post(*plain, "/palisade/auth", "login");
  post(*cdata, "/palisade/auth", "login");
  Outgoing wrapped = post(*cdata, "/palisade/comment", "comments_photo");
  EXPECT_TRUE(pd_test::matches_golden("wire/replies/cdata/comments_photo.xml", wrapped.body));
  // The plug-in removes the markers before it parses; texts without markup
  // then read exactly as if they had been sent escaped.
  char *stripped = data_RejectCDATA(wrapped.body.c_str());
  EXPECT_EQ(std::string(stripped), post(*plain, "/palisade/comment", "comments_photo").body);
  std::free(stripped);
}

TEST(GatewaySim, WrapsAnyTextInCdataSafely) {
  Node root("Response");
  root.add(Node("Content").set_text("a]]>b <&> ]]]]>"));
  std::optional<Element> back = parse_document(render(root, true));
  ASSERT_TRUE(back);
  EXPECT_EQ(back->children.at(0).text, "a]]>b <&> ]]]]>");
  root.children[0].set("Title", "\"quoted\" & <angled>");
  back = parse_document(render(root, false));
  ASSERT_TRUE(back);
  EXPECT_EQ(*back->children.at(0).attribute("Title"), "\"quoted\" & <angled>");
}

TEST(GatewaySim, RefusesSeedsThatDoNotHoldTogether) {
  std::istringstream seeds(pd_test::read_data("gateway-sim/bad-seeds.txt"));  // one a line
  for (std::string seed; std::getline(seeds, seed);)
    EXPECT_THROW(Network::from_seed(seed), std::runtime_error) << seed;
  EXPECT_NO_THROW(Network::from_seed(seed_text()));
}

}  // namespace
