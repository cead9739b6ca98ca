// __xml_parser against a bare libxml2 parse of the same reply, for replies
// of 10, 1,000 and 100,000 elements. The parse is timed together with the
// release of its records (as an engine releases them), the bare parse with
// xmlFreeDoc. Targets: within 2x of the bare parse at every size, and a flat
// time per element (the "per_element" counter) across sizes.
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

}  // namespace

BENCHMARK(BM_Friends_BareParse)->Arg(10)->Arg(1000)->Arg(10000)->Arg(100000);
BENCHMARK(BM_Friends_Parser)->Arg(10)->Arg(1000)->Arg(10000)->Arg(100000);
BENCHMARK(BM_Albums_BareParse)->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(BM_Albums_Parser)->Arg(10)->Arg(1000)->Arg(100000);
