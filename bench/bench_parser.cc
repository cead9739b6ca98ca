// __xml_parser against a bare libxml2 parse of the same reply, for replies
// of 10, 1,000 and 100,000 elements. The parse is timed together with the
// release of its records (as an engine releases them), the bare parse with
// xmlFreeDoc; the activity, people and folder replies are released whole
// by the plug-in's own release for results nobody receives. Targets: within
// 2x of the bare parse at every size, and a flat time per element (the
// "per_element" counter) across sizes.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>

#include <string>

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

void per_element(benchmark::State &state, int elements) {
  state.SetItemsProcessed(state.iterations() * elements);
  state.counters["per_element"] = benchmark::Counter(
      elements, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_Friends_Parser(benchmark::State &state) {
  pd::log::set_level(pd::log::Level::none);
  const int elements = static_cast<int>(state.range(0));
  std::string reply = friends_reply(elements);
  for (auto _ : state) {
    intptr_t result = __xml_parser(8, reply.c_str());
    auto *record = reinterpret_cast<xml_friend_grouping_retrieve *>(result);
    for (xml_friend_grouping_friend *f = record->pstFriend->pstNext; f != nullptr;) {
      xml_friend_grouping_friend *next = f->pstNext;
      __xml_friend_grouping_friend_delete(f);
      f = next;
    }
    __xml_friend_grouping_retrieve_delete(record);
  }
  per_element(state, elements);
}

void BM_Albums_Parser(benchmark::State &state) {
  pd::log::set_level(pd::log::Level::none);
  const int elements = static_cast<int>(state.range(0));
  std::string reply = albums_reply(elements);
  for (auto _ : state)
    xml_photo_album_get_delete(reinterpret_cast<xml_photo_album_get *>(__xml_parser(31, reply.c_str())));
  per_element(state, elements);
}

// A reply of `make(elements)` through parser `index`, released whole as a
// reply nobody receives is.
void parse_and_release(benchmark::State &state, uint32_t index,
                       std::string (*make)(int elements)) {
  pd::log::set_level(pd::log::Level::none);
  const int elements = static_cast<int>(state.range(0));
  std::string reply = make(elements);
  for (auto _ : state) pd::parser::discard_result(index, __xml_parser(index, reply.c_str()));
  per_element(state, elements);
}

void BM_Activity_Parser(benchmark::State &state) { parse_and_release(state, 5, activity_reply); }
void BM_People_Parser(benchmark::State &state) { parse_and_release(state, 23, people_reply); }
void BM_Folder_Parser(benchmark::State &state) { parse_and_release(state, 16, folder_reply); }

void bare_parse(benchmark::State &state, const std::string &reply, int elements) {
  for (auto _ : state) {
    xmlDoc *doc = xmlReadMemory(reply.c_str(), static_cast<int>(reply.size()), nullptr, nullptr, 0);
    benchmark::DoNotOptimize(doc);
    xmlFreeDoc(doc);
  }
  per_element(state, elements);
}

void BM_Friends_BareParse(benchmark::State &state) {
  const int elements = static_cast<int>(state.range(0));
  bare_parse(state, friends_reply(elements), elements);
}

void BM_Albums_BareParse(benchmark::State &state) {
  const int elements = static_cast<int>(state.range(0));
  bare_parse(state, albums_reply(elements), elements);
}

void BM_Activity_BareParse(benchmark::State &state) {
  const int elements = static_cast<int>(state.range(0));
  bare_parse(state, activity_reply(elements), elements);
}

void BM_People_BareParse(benchmark::State &state) {
  const int elements = static_cast<int>(state.range(0));
  bare_parse(state, people_reply(elements), elements);
}

void BM_Folder_BareParse(benchmark::State &state) {
  const int elements = static_cast<int>(state.range(0));
  bare_parse(state, folder_reply(elements), elements);
}

}  // namespace

BENCHMARK(BM_Friends_BareParse)->Arg(10)->Arg(1000)->Arg(10000)->Arg(100000);
BENCHMARK(BM_Friends_Parser)->Arg(10)->Arg(1000)->Arg(10000)->Arg(100000);
BENCHMARK(BM_Albums_BareParse)->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(BM_Albums_Parser)->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(BM_Activity_BareParse)->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(BM_Activity_Parser)->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(BM_People_BareParse)->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(BM_People_Parser)->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(BM_Folder_BareParse)->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(BM_Folder_Parser)->Arg(10)->Arg(1000)->Arg(100000);
