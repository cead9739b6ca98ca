// __xml_parser against a bare libxml2 parse (xmlReadMemory + xmlFreeDoc) of
// the same reply, for every reply kind at 10, 1,000 and 100,000 elements.
// The parse is timed together with the release of its records (the plug-in's
// release for results nobody receives).
//
// The two sides alternate within one benchmark: each round times a batch of
// bare parses and a batch of plug-in parses (which goes first alternates),
// on the thread's CPU clock, so another process taking the core does not
// count. The round's ratio is plug-in time over bare time per parse;
// reported are the ratio's min, median and max over the rounds, and each
// side's median time per element. Target: a ratio of at most 1.3.
//
// Both sides allocate thousands of small blocks per parse, and glibc's
// malloc by default adapts its trim and mmap thresholds to what was freed
// last: one side's parse then pays for returning the heap's top to the
// system and faulting it back, depending on what the other side left. The
// benchmark fixes those thresholds (as a long-running engine's heap settles
// them), so each side pays for its own allocations only.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <string>
#include <vector>

#include "alternate.h"
#include "log.h"
#include "parser/pd_parser.h"
#include "pd-plugin/pd_records.h"

namespace {

// A friends reply: each friend is two elements, a "Friend" and its "Status".
std::string friends_reply(int elements) {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                    "<Response ErrCode=\"0\" ErrSubCode=\"0\" HasNext=\"true\" StartContext=\"c\">\n";
  for (int i = 0; i < elements / 2; ++i) {
    std::string id = std::to_string(100000 + i);
    out += "  <Friend ID=\"" + id + "\" SP=\"palisade\" GroupingID=\"g-1\" DisplayName=\"Friend " +
           id + "\" FullName=\"Full Name " + id + "\" Email=\"f" + id +
           "@example.org\" Presence=\"online\" Location=\"Oslo\" City=\"Oslo\" Age=\"31\">"
           "<Status CreateTime=\"1700000000\" ID=\"s-" + id + "\">Out walking</Status></Friend>\n";
  }
  return out + "</Response>\n";
}

// An album list: each album is two elements, an "Album" and its "CoverPhoto".
std::string albums_reply(int elements) {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                    "<Response HasNext=\"false\" StartContext=\"c\">\n";
  for (int i = 0; i < elements / 2; ++i) {
    std::string id = std::to_string(500000 + i);
    out += "  <Album ID=\"al-" + id + "\" SP=\"palisade\" Name=\"Album " + id +
           "\" Visible=\"true\" Place=\"Bergen\" CreatorID=\"100234\" PhotosCount=\"42\" "
           "ProfilePhotos=\"false\"><CoverPhoto URL=\"http://img.palisade.example/a/" + id +
           ".jpg\"/></Album>\n";
  }
  return out + "</Response>\n";
}

// An activity feed: each activity is ten elements (the activity, its text,
// its owner with a photo, a note whose links list holds two links, the
// second of which has a link photo).
std::string activity_reply(int elements) {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                    "<Response ErrCode=\"0\" ErrSubCode=\"0\" HasNext=\"true\" StartContext=\"c\">\n";
  for (int i = 0; i < elements / 10; ++i) {
    std::string id = std::to_string(700000 + i);
    out += "  <Activity ID=\"a-" + id + "\" SP=\"palisade\" TargetID=\"t-" + id +
           "\" ActTime=\"1700000000\" Type=\"note\" CommentsCount=\"2\" Commentable=\"true\">"
           "<Content>Back from the mountains</Content>"
           "<Owner ID=\"100235\" Name=\"Jonas\" Type=\"people\" IsFriend=\"true\">"
           "<ProfilePhoto URL=\"http://img.palisade.example/p/100235.jpg\"/></Owner>"
           "<Note ID=\"n-" + id + "\" Title=\"Packing list\"><Links>"
           "<Photo Title=\"Boots\" AuthorName=\"Jonas\"/><Photo Title=\"Map\" AuthorName=\"Li\"/>"
           "<Link><Link URL=\"http://img.palisade.example/l/" + id + ".jpg\"/></Link>"
           "</Links></Note></Activity>\n";
  }
  return out + "</Response>\n";
}

// A people search: each person is two elements, "People" and its "Status".
std::string people_reply(int elements) {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                    "<Response HasNext=\"true\" StartContext=\"c\">\n";
  for (int i = 0; i < elements / 2; ++i) {
    std::string id = std::to_string(200000 + i);
    out += "  <People ID=\"" + id + "\" SP=\"palisade\" DisplayName=\"Person " + id +
           "\" FirstName=\"First\" LastName=\"Last\" City=\"Bergen\" Age=\"30\" "
           "Commentable=\"1\"><Status CreateTime=\"1700000000\" ID=\"s-" + id +
           "\">At the harbour</Status></People>\n";
  }
  return out + "</Response>\n";
}

// A message folder: one thread whose messages are five elements each (the
// message, its sender, content, one receiver group with one receiver).
std::string folder_reply(int elements) {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                    "<Response HasNext=\"false\" StartContext=\"c\">\n"
                    "<Thread ID=\"th-1\" Unread=\"1\" Folder=\"inbox\">\n";
  for (int i = 0; i < elements / 5; ++i) {
    std::string id = std::to_string(300000 + i);
    out += "  <Message ID=\"m-" + id + "\" SP=\"palisade\" Title=\"Trip\" SendTime=\"1700000400\">"
           "<Sender ID=\"100240\" Name=\"Tor\"/><Content>Who brings the tent?</Content>"
           "<Receivers><Receiver ID=\"100235\" Name=\"Jonas\"/></Receivers></Message>\n";
  }
  return out + "</Thread></Response>\n";
}

double thread_seconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

struct Kind {
  uint32_t index;                     // parser index
  std::string (*make)(int elements);  // the reply
};

// Seconds of a batch of `count` calls of `once`.
template <class Once>
double batch(int count, Once once) {
  double start = thread_seconds();
  for (int i = 0; i < count; ++i) once();
  return thread_seconds() - start;
}

void settle_heap() {
  static const bool settled = [] {
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
    mallopt(M_TOP_PAD, 16 << 20);
    mallopt(M_MMAP_THRESHOLD, 64 << 20);
    return true;
  }();
  (void)settled;
}

void BM_ParserOverBare(benchmark::State &state, Kind kind) {
  settle_heap();
  pd::log::set_level(pd::log::Level::none);
  const int elements = static_cast<int>(state.range(0));
  const std::string reply = kind.make(elements);
  auto bare = [&] {
    xmlDoc *doc = xmlReadMemory(reply.c_str(), static_cast<int>(reply.size()), nullptr, nullptr, 0);
    benchmark::DoNotOptimize(doc);
    xmlFreeDoc(doc);
  };
  auto plugin = [&] { pd::parser::discard_result(kind.index, __xml_parser(kind.index, reply.c_str())); };
  // Both sides warm up once; a batch lasts about 20 ms of bare parsing, and
  // holds at least one parse.
  batch(1, bare);
  batch(1, plugin);
  const int count = std::max(1, static_cast<int>(0.02 / std::max(batch(1, bare), 1e-9)));
  std::vector<double> plugin_times, bare_times;
  pd_bench::alternate(
      state, [&] { return batch(count, plugin); }, [&] { return batch(count, bare); },
      plugin_times, bare_times);
  pd_bench::report_ratio(state, plugin_times, bare_times);
  auto per_element = [&](double seconds) { return seconds * 1e9 / count / elements; };
  state.counters["bare_ns_per_element"] = per_element(pd_bench::median(bare_times));
  state.counters["plugin_ns_per_element"] = per_element(pd_bench::median(plugin_times));
}

const Kind kFriends{8, friends_reply};
const Kind kAlbums{31, albums_reply};
const Kind kActivity{5, activity_reply};
const Kind kPeople{23, people_reply};
const Kind kFolder{16, folder_reply};

// Rounds of alternation per comparison.
constexpr int kRounds = 9;

#define PD_COMPARE(name, kind)                                                        \
  BENCHMARK_CAPTURE(BM_ParserOverBare, name, kind)                                    \
      ->Arg(10)->Arg(1000)->Arg(100000)->Iterations(kRounds)->UseManualTime()         \
      ->Unit(benchmark::kMillisecond)
PD_COMPARE(friends, kFriends);
PD_COMPARE(albums, kAlbums);
PD_COMPARE(activity, kActivity);
PD_COMPARE(people, kPeople);
PD_COMPARE(folder, kFolder);
#undef PD_COMPARE

}  // namespace
