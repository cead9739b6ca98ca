// The activity feed. One table describes every node and holder kind of the
// tree: what each of its words holds, and how its operations trace. The
// named init and delete operations are doorways into three generic
// operations over that table (make a node; release it for the engine, the
// head of each list only; release it whole), and the handler places each
// element by a second table.
#include <array>
#include <cstddef>
#include <cstdlib>
#include <initializer_list>
#include <string_view>

#include "log.h"
#include "parser/parse_support.h"
#include "parser/pd_xml_handlers.h"

using pd::parser::is_element;
using pd::parser::is_named;
using pd::parser::TraceLines;

extern "C" {
int32_t LinkType = 0;
xml_activity_delete *activity_delete = nullptr;
xml_activity_delete_deleted *activity_delete_deleted = nullptr;
}

namespace {

constexpr const char *kPrefix = "Xml_Activity : ";

// Every node and holder kind, in the order of the table below.
enum Kind : uint8_t {
  kTop, kActivity, kActivityContent,
  kOwner, kOwnerProfilePhoto, kOwnerPhotoThumbnail,
  kGroup, kGroupContent, kGroupLinks, kGroupLink, kGroupLinkPhoto,
  kPhoto, kPhotoThumbnail,
  kNote, kNoteContent, kNoteLinks, kNoteLink, kNoteLinkPhoto,
  kEvent, kEventContent, kEventLinks, kEventLink, kEventLinkPhoto,
  kUrl, kUrlContent, kUrlLinks, kUrlLink, kUrlLinkPhoto,
  kVideo, kVideoContent, kVideoThumbnail,
  kAttachedPhoto, kAttachedPhotoThumbnail,
  kKindCount,
  kNoKind = kKindCount
};

// An element record kind, through its named operations.
struct Element {
  void *(*init)();
  void (*set)(void *record, xmlNode *node);
  void (*remove)(void *record);
  size_t texts;
};

#define PD_ELEMENT(type)                                                                 \
  constexpr Element k_##type = {                                                         \
      []() -> void * { return xml_element_##type##_init(); },                            \
      [](void *r, xmlNode *n) { xml_element_##type##_set(static_cast<xml_element_##type *>(r), n); }, \
      [](void *r) { xml_element_##type##_delete(static_cast<xml_element_##type *>(r)); }, \
      sizeof(xml_element_##type) / sizeof(char *)};
PD_ELEMENT(response_base)
PD_ELEMENT(activity)
PD_ELEMENT(content)
PD_ELEMENT(owner)
PD_ELEMENT(profilephoto)
PD_ELEMENT(photothumbnail)
PD_ELEMENT(group)
PD_ELEMENT(link)
PD_ELEMENT(link_photo)
PD_ELEMENT(photo)
PD_ELEMENT(thumbnail)
PD_ELEMENT(note)
PD_ELEMENT(event)
PD_ELEMENT(url)
PD_ELEMENT(video)
PD_ELEMENT(attachedphoto)
#undef PD_ELEMENT

// What one word of a node holds: an element record, a child of another
// kind (a holder, or the head of a list when that kind has a next word),
// or the link to the next node of the same kind.
struct Word {
  enum Holds : uint8_t { kElement, kChild, kNext } holds;
  const Element *element;
  Kind child;
};
constexpr Word E(const Element &element) { return {Word::kElement, &element, kNoKind}; }
constexpr Word C(Kind child) { return {Word::kChild, nullptr, child}; }
constexpr Word kNextWord = {Word::kNext, nullptr, kNoKind};

// Which of an operation's two tracing lines it prints.
enum class Lines : uint8_t { both, start_only, none };

struct Tracing {
  Lines init = Lines::both;
  Lines remove = Lines::both;
  const char *init_extra = nullptr;  // a line of its own between init's two
};
constexpr Tracing kSilent = {Lines::none, Lines::none, nullptr};

struct NodeKind {
  static constexpr size_t kMaxWords = 11;
  Kind kind;
  const char *init_name;
  const char *delete_name;
  size_t count;
  Word words[kMaxWords];
  Tracing tracing;

  constexpr NodeKind(Kind k, const char *init, const char *remove, std::initializer_list<Word> row,
                     Tracing trace = {})
      : kind(k), init_name(init), delete_name(remove), count(row.size()), words{}, tracing(trace) {
    if (row.size() > kMaxWords) throw "too many words";
    size_t i = 0;
    for (const Word &word : row) words[i++] = word;
  }
};

#define PD_NAMES(path) "__xml_activity_get_" path "_init", "__xml_activity_get_" path "_delete"
// A group, note, event or URL: the node, its content holder, its links
// holder, a link, and a link's link-photo holder (which traces nothing).
#define PD_ITEM_KINDS(Item, path, element, node_tracing, link_tracing)                        \
  {k##Item, PD_NAMES(path), {E(element), C(k##Item##Content), C(k##Item##Links), kNextWord},  \
   node_tracing},                                                                             \
  {k##Item##Content, PD_NAMES(path "_content"), {E(k_content)}},                              \
  {k##Item##Links, PD_NAMES(path "_links"), {C(k##Item##Link)}},                              \
  {k##Item##Link, PD_NAMES(path "_links_link"), {E(k_link), C(k##Item##LinkPhoto), kNextWord}, \
   link_tracing},                                                                             \
  {k##Item##LinkPhoto, PD_NAMES(path "_links_link_link_photo"), {E(k_link_photo)}, kSilent}

// The activity tree. Releases follow the words in order (element record
// first, then holders and list heads), the head of each list only.
constexpr NodeKind kTable[] = {
    {kTop, "__xml_activity_get_init", "__xml_activity_get_delete",
     {E(k_response_base), C(kActivity)}, {.init = Lines::start_only}},
    {kActivity, PD_NAMES("activity"),
     {E(k_activity), C(kActivityContent), C(kOwner), C(kGroup), C(kPhoto), C(kNote), C(kEvent),
      C(kUrl), C(kVideo), C(kAttachedPhoto), kNextWord}},
    {kActivityContent, PD_NAMES("activity_content"), {E(k_content)}},
    {kOwner, PD_NAMES("activity_owner"),
     {E(k_owner), C(kOwnerProfilePhoto), C(kOwnerPhotoThumbnail)}},
    {kOwnerProfilePhoto, PD_NAMES("activity_owner_profilephoto"), {E(k_profilephoto)}},
    {kOwnerPhotoThumbnail, PD_NAMES("activity_owner_photothumbnail"), {E(k_photothumbnail)}},
    PD_ITEM_KINDS(Group, "activity_group", k_group, {}, {.init_extra = "1"}),
    {kPhoto, PD_NAMES("activity_photo"), {E(k_photo), C(kPhotoThumbnail), kNextWord},
     {.remove = Lines::start_only}},
    {kPhotoThumbnail, PD_NAMES("activity_photo_thumbnail"), {E(k_thumbnail)}},
    PD_ITEM_KINDS(Note, "activity_note", k_note, {}, {}),
    PD_ITEM_KINDS(Event, "activity_event", k_event, {.remove = Lines::start_only}, {}),
    PD_ITEM_KINDS(Url, "activity_url", k_url, {.remove = Lines::start_only}, {}),
    {kVideo, PD_NAMES("activity_video"),
     {E(k_video), C(kVideoContent), C(kVideoThumbnail), kNextWord}, {.remove = Lines::start_only}},
    {kVideoContent, PD_NAMES("activity_video_content"), {E(k_content)}},
    {kVideoThumbnail, PD_NAMES("activity_video_thumbnail"), {E(k_thumbnail)}},
    {kAttachedPhoto, PD_NAMES("activity_attachedphoto"),
     {E(k_attachedphoto), C(kAttachedPhotoThumbnail), kNextWord}},
    {kAttachedPhotoThumbnail, PD_NAMES("activity_attachedphoto_thumbnail"), {E(k_thumbnail)}},
};
#undef PD_ITEM_KINDS
#undef PD_NAMES

constexpr bool table_in_kind_order() {
  for (size_t i = 0; i < std::size(kTable); ++i)
    if (kTable[i].kind != i) return false;
  return std::size(kTable) == kKindCount;
}
static_assert(table_in_kind_order(), "one row per kind, in the order of Kind");

// Where a kind hangs: the kind above it and the word there that holds it.
struct Place {
  Kind parent = kNoKind;
  size_t word = 0;
};

constexpr Place place_of(Kind kind) {
  for (const NodeKind &row : kTable)
    for (size_t i = 0; i < row.count; ++i)
      if (row.words[i].holds == Word::kChild && row.words[i].child == kind) return {row.kind, i};
  return {};
}

// The word of a kind's link to its next node, or 0 for a holder (word 0
// never links).
constexpr size_t next_word_of(Kind kind) {
  for (size_t i = 0; i < kTable[kind].count; ++i)
    if (kTable[kind].words[i].holds == Word::kNext) return i;
  return 0;
}

struct Shape {
  Place place;
  size_t next;
};
constexpr auto kShapes = [] {
  std::array<Shape, kKindCount> shapes{};
  for (size_t kind = 0; kind < kKindCount; ++kind)
    shapes[kind] = {place_of(static_cast<Kind>(kind)), next_word_of(static_cast<Kind>(kind))};
  return shapes;
}();

// The nodes are rows of pointers (the public structs are checked against
// the table below); every word is read and written as a void pointer, which
// is why this file is built without strict aliasing.
void **words(void *node) { return static_cast<void **>(node); }

struct NextAt {
  size_t word;
  void *&operator()(void *node) const noexcept { return words(node)[word]; }
};

const char *line_name(Lines lines, bool start, const char *name) {
  if (lines == Lines::none || (!start && lines == Lines::start_only)) return nullptr;
  return name;
}

void discard(Kind kind, void *node) noexcept;

// Releases a holder, or a whole list, in the word at `slot`, and empties it.
void discard_word(Kind kind, void **slot) noexcept {
  if (kShapes[kind].next != 0)
    pd::parser::release_list(slot, [kind](void *node) { discard(kind, node); },
                             NextAt{kShapes[kind].next});
  else
    discard(kind, *slot);
  *slot = nullptr;
}

// Releases a node with everything under it, lists whole, without tracing:
// for parts that nobody can reach any more.
void discard(Kind kind, void *node) noexcept {
  if (node == nullptr) return;
  const NodeKind &row = kTable[kind];
  for (size_t i = 0; i < row.count; ++i) {
    const Word &word = row.words[i];
    if (word.holds == Word::kElement)
      pd::parser::release_row(words(node)[i], word.element->texts);
    else if (word.holds == Word::kChild)
      discard_word(word.child, &words(node)[i]);
  }
  std::free(node);
}

// Makes an empty node and hangs it under `parent`: appended to its list,
// or into its slot, releasing the holder that was there.
void *node_init(Kind kind, void *parent) {
  const NodeKind &row = kTable[kind];
  TraceLines trace(kPrefix, line_name(row.tracing.init, true, row.init_name),
                   line_name(row.tracing.init, false, row.init_name));
  if (row.tracing.init_extra != nullptr) PD_LOG_STDOUT("%s%s\n", kPrefix, row.tracing.init_extra);
  void *node = pd::parser::zeroed(row.count * sizeof(void *));
  if (node == nullptr || parent == nullptr) return node;
  const Shape &shape = kShapes[kind];
  void **slot = &words(parent)[shape.place.word];
  if (shape.next != 0) {
    pd::parser::append_node(slot, node, NextAt{shape.next});
  } else {
    discard(kind, *slot);
    *slot = node;
  }
  return node;
}

// The release the engine calls: element record, holders and the head of each
// list, each through its own operation; next links are not followed.
void node_delete(Kind kind, void *node) {
  const NodeKind &row = kTable[kind];
  TraceLines trace(kPrefix, line_name(row.tracing.remove, true, row.delete_name),
                   line_name(row.tracing.remove, false, row.delete_name));
  if (node == nullptr) return;
  for (size_t i = 0; i < row.count; ++i) {
    const Word &word = row.words[i];
    if (word.holds == Word::kElement) {
      word.element->remove(words(node)[i]);
    } else if (word.holds == Word::kChild) {
      pd::parser::tails::forget(&words(node)[i]);
      node_delete(word.child, words(node)[i]);
    }
  }
  std::free(node);
}

// ---------------------------------------------------------------------------
// Placing elements

// A new node of `kind` under `parent`, with its element record read from
// the element (a links holder has none: it starts empty).
void place(Kind kind, void *parent, xmlNode *element) {
  void *node = node_init(kind, parent);
  const Word &first = kTable[kind].words[0];
  if (node == nullptr || first.holds != Word::kElement) return;
  void *record = first.element->init();
  words(node)[0] = record;
  first.element->set(record, element);
}

// The node that a part of `kind` goes under in an activity: the activity
// itself, or the FIRST node of each kind on the way down. Parts of the
// second level and below always go to the first group, note, link ...,
// never to the most recent one; that is how the engine has always received
// them. Null when the activity lacks a node on the way.
void *target_of(xml_activity_get_activity *activity, Kind kind) {
  Kind parent = kShapes[kind].place.parent;
  if (parent == kActivity) return activity;
  if (parent == kTop || parent == kNoKind) return nullptr;
  void *above = target_of(activity, parent);
  return above != nullptr ? words(above)[kShapes[parent].place.word] : nullptr;
}

struct Placement {
  uint32_t depth;
  const char *element;
  const char *parent;
  Kind kind;
  int32_t link_type;  // the LinkType that a "Links" selects; 0 leaves it
};

// A group's "Links" leaves LinkType alone, so nothing ever selects the
// group lists: their links stay empty.
constexpr Placement kPlacements[] = {
    {2, "Content", "Activity", kActivityContent, 0},
    {2, "Owner", "Activity", kOwner, 0},
    {2, "Group", "Activity", kGroup, 0},
    {2, "Photo", "Activity", kPhoto, 0},
    {2, "Note", "Activity", kNote, 0},
    {2, "Event", "Activity", kEvent, 0},
    {2, "URL", "Activity", kUrl, 0},
    {2, "Video", "Activity", kVideo, 0},
    {2, "AttachedPhoto", "Activity", kAttachedPhoto, 0},
    {3, "ProfilePhoto", "Owner", kOwnerProfilePhoto, 0},
    {3, "PhotoThumbnail", "Owner", kOwnerPhotoThumbnail, 0},
    {3, "Content", "Group", kGroupContent, 0},
    {3, "Content", "Note", kNoteContent, 0},
    {3, "Content", "Event", kEventContent, 0},
    {3, "Content", "URL", kUrlContent, 0},
    {3, "Content", "Video", kVideoContent, 0},
    {3, "Links", "Group", kGroupLinks, 0},
    {3, "Links", "Note", kNoteLinks, 2},
    {3, "Links", "Event", kEventLinks, 3},
    {3, "Links", "URL", kUrlLinks, 4},
    {3, "Thumbnail", "Photo", kPhotoThumbnail, 0},
    {3, "Thumbnail", "Video", kVideoThumbnail, 0},
    {3, "Thumbnail", "AttachedPhoto", kAttachedPhotoThumbnail, 0},
};

// The link and link-photo kinds of the list that LinkType selects.
struct LinkKinds {
  Kind link;
  Kind link_photo;
};

LinkKinds selected_links() {
  switch (LinkType) {
    case 1: return {kGroupLink, kGroupLinkPhoto};
    case 2: return {kNoteLink, kNoteLinkPhoto};
    case 3: return {kEventLink, kEventLinkPhoto};
    case 4: return {kUrlLink, kUrlLinkPhoto};
    default: return {kNoKind, kNoKind};
  }
}

// A part whose node the activity lacks has nowhere to go and is skipped,
// LinkType included.
void place_in(xml_activity_get_activity *activity, Kind kind, xmlNode *element,
              int32_t link_type = 0) {
  if (kind == kNoKind) return;
  void *target = target_of(activity, kind);
  if (target == nullptr) return;
  if (link_type != 0) LinkType = link_type;
  place(kind, target, element);
}

// Where an element below an activity goes: a placement of the table, or a
// link of the list that LinkType selects; null for an element that goes
// nowhere.
struct Destination {
  const Placement *placement = nullptr;
  bool link = false;        // a "Photo" of a "Links"
  bool link_photo = false;  // a "Link" of a "Link"
  bool any() const { return placement != nullptr || link || link_photo; }
};

// The placements of one depth: the table lists them by depth, so they are
// one run of it. Every element below an activity is looked up here.
struct Run {
  size_t begin = 0, end = 0;
};
constexpr uint32_t kPlacedDepths = 4;  // placements are at depths 2 and 3
constexpr auto kRuns = [] {
  std::array<Run, kPlacedDepths> runs{};
  for (size_t i = 0; i < std::size(kPlacements); ++i) {
    uint32_t depth = kPlacements[i].depth;
    if (depth >= kPlacedDepths) throw "a placement deeper than kPlacedDepths";
    if (i > 0 && depth < kPlacements[i - 1].depth) throw "placements out of depth order";
    if (runs[depth].end == 0) runs[depth].begin = i;
    runs[depth].end = i + 1;
  }
  return runs;
}();

Destination destination_of(uint32_t depth, const char *parent, xmlNode *node) {
  Destination to;
  const Run run = depth < kPlacedDepths ? kRuns[depth] : Run{};
  for (size_t i = run.begin; i < run.end; ++i) {
    const Placement &placement = kPlacements[i];
    if (is_element(node, placement.element) && is_named(parent, placement.parent)) {
      to.placement = &placement;
      return to;
    }
  }
  if (depth == 4 && is_element(node, "Photo") && is_named(parent, "Links"))
    to.link = true;
  else if ((depth == 4 || depth == 5) && is_element(node, "Link") && is_named(parent, "Link"))
    to.link_photo = true;
  return to;
}

void place_below_activity(const Destination &to, xmlNode *node,
                          xml_activity_get_activity *activity) {
  if (to.placement != nullptr)
    place_in(activity, to.placement->kind, node, to.placement->link_type);
  else if (to.link)
    place_in(activity, selected_links().link, node);
  else if (to.link_photo)
    place_in(activity, selected_links().link_photo, node);
}

}  // namespace

// ---------------------------------------------------------------------------
// The named operations: doorways into the table.

#define PD_ACTIVITY_DOORS(path, kind, Node, Parent)                                            \
  static_assert(std::string_view(kTable[kind].init_name) == "__xml_activity_get_" #path "_init"); \
  static_assert(sizeof(Node) == kTable[kind].count * sizeof(void *));                          \
  extern "C" Node *__xml_activity_get_##path##_init(Parent *parent) {                          \
    return static_cast<Node *>(node_init(kind, parent));                                       \
  }                                                                                            \
  extern "C" void __xml_activity_get_##path##_delete(Node *node) { node_delete(kind, node); }

#define PD_ITEM_DOORS(item, Item)                                                              \
  PD_ACTIVITY_DOORS(activity_##item, k##Item, xml_activity_get_##item, xml_activity_get_activity) \
  PD_ACTIVITY_DOORS(activity_##item##_content, k##Item##Content, xml_activity_get_content,      \
                    xml_activity_get_##item)                                                   \
  PD_ACTIVITY_DOORS(activity_##item##_links, k##Item##Links, xml_activity_get_links,            \
                    xml_activity_get_##item)                                                   \
  PD_ACTIVITY_DOORS(activity_##item##_links_link, k##Item##Link, xml_activity_get_link,         \
                    xml_activity_get_links)                                                    \
  PD_ACTIVITY_DOORS(activity_##item##_links_link_link_photo, k##Item##LinkPhoto,                \
                    xml_activity_get_link_photo, xml_activity_get_link)

PD_ACTIVITY_DOORS(activity, kActivity, xml_activity_get_activity, xml_activity_get)
PD_ACTIVITY_DOORS(activity_content, kActivityContent, xml_activity_get_content,
                  xml_activity_get_activity)
PD_ACTIVITY_DOORS(activity_owner, kOwner, xml_activity_get_owner, xml_activity_get_activity)
PD_ACTIVITY_DOORS(activity_owner_profilephoto, kOwnerProfilePhoto, xml_activity_get_profilephoto,
                  xml_activity_get_owner)
PD_ACTIVITY_DOORS(activity_owner_photothumbnail, kOwnerPhotoThumbnail,
                  xml_activity_get_photothumbnail, xml_activity_get_owner)
PD_ITEM_DOORS(group, Group)
PD_ACTIVITY_DOORS(activity_photo, kPhoto, xml_activity_get_photo, xml_activity_get_activity)
PD_ACTIVITY_DOORS(activity_photo_thumbnail, kPhotoThumbnail, xml_activity_get_thumbnail,
                  xml_activity_get_photo)
PD_ITEM_DOORS(note, Note)
PD_ITEM_DOORS(event, Event)
PD_ITEM_DOORS(url, Url)
PD_ACTIVITY_DOORS(activity_video, kVideo, xml_activity_get_video, xml_activity_get_activity)
PD_ACTIVITY_DOORS(activity_video_content, kVideoContent, xml_activity_get_content,
                  xml_activity_get_video)
PD_ACTIVITY_DOORS(activity_video_thumbnail, kVideoThumbnail, xml_activity_get_thumbnail,
                  xml_activity_get_video)
PD_ACTIVITY_DOORS(activity_attachedphoto, kAttachedPhoto, xml_activity_get_attachedphoto,
                  xml_activity_get_activity)
PD_ACTIVITY_DOORS(activity_attachedphoto_thumbnail, kAttachedPhotoThumbnail,
                  xml_activity_get_thumbnail, xml_activity_get_attachedphoto)

#undef PD_ITEM_DOORS
#undef PD_ACTIVITY_DOORS

static_assert(sizeof(xml_activity_get) == kTable[kTop].count * sizeof(void *));

namespace pd::parser {

void discard_activity(xml_activity_get *record) noexcept { discard(kTop, record); }

}  // namespace pd::parser

extern "C" {

xml_activity_get *__xml_activity_get_init(void) {
  return static_cast<xml_activity_get *>(node_init(kTop, nullptr));
}

void __xml_activity_get_delete(xml_activity_get *record) { node_delete(kTop, record); }

void xml_activity_get_delete(xml_activity_get *record) {
  TraceLines trace(kPrefix, __func__, __func__);
  __xml_activity_get_delete(record);
}

// Its closing line names the activity init, as it always has.
xml_activity_get_activity *__xml_activity_get_last_activity(xml_activity_get *record) {
  PD_LOG_STDOUT("Xml_Activity : __xml_activity_get_last_activity - Start\n");
  if (record == nullptr) return nullptr;
  xml_activity_get_activity *last = pd::parser::last_node(&record->pstActivity);
  PD_LOG_STDOUT("Xml_Activity : __xml_activity_get_activity_init - End\n");
  return last;
}

// The first line borrows another parser's label; engines' logs have always
// read that way.
void xml_activity_get_parser(uint32_t depth, const char *parent, xmlNode *node,
                             intptr_t *result) {
  PD_LOG_STDOUT("xml_people_info_get_parser : [%d][%s][%s]\n", static_cast<int>(depth),
                PD_STR(parent),
                PD_STR(node != nullptr ? reinterpret_cast<const char *>(node->name) : nullptr));
  TraceLines trace(kPrefix, __func__, __func__);
  if (node == nullptr || result == nullptr || depth >= 6) return;
  if (depth == 0) {
    xml_activity_get *record = pd::parser::open_reply(node, result, __xml_activity_get_init);
    if (record == nullptr) return;
    record->pstResponseBase = xml_element_response_base_init();
    xml_element_response_base_set(record->pstResponseBase, node);
    return;
  }
  auto *record = pd::parser::record_in<xml_activity_get>(result);
  if (record == nullptr) return;
  if (depth == 1) {
    if (is_element(node, "Activity") && is_named(parent, "Response"))
      place(kActivity, record, node);
    return;
  }
  // The last activity is looked up for every element below it, which the
  // log shows; with the log silenced, only for an element that goes there.
  Destination to = destination_of(depth, parent, node);
  if (!to.any() && !pd::log::debug_on()) return;
  if (xml_activity_get_activity *last = __xml_activity_get_last_activity(record))
    place_below_activity(to, node, last);
}

// ---------------------------------------------------------------------------
// The answer to an activity deletion

xml_activity_delete *__xml_activity_delete_init(void) {
  TraceLines trace(kPrefix, __func__, __func__);
  return static_cast<xml_activity_delete *>(pd::parser::zeroed(sizeof(xml_activity_delete)));
}

// Its opening line is its own, as it always has been.
xml_activity_delete_deleted *__xml_activity_delete_deleted_init(void) {
  PD_LOG_STDOUT("__xml_activity_delete_deleted_init : __xml_parser - Start\n");
  auto *record =
      static_cast<xml_activity_delete_deleted *>(pd::parser::zeroed(sizeof(xml_activity_delete_deleted)));
  PD_LOG_STDOUT("Xml_Activity : __xml_activity_delete_deleted_init - End\n");
  return record;
}

// A record released by its owner leaves its slot empty, so that the next
// answer does not release it a second time.
void __xml_activity_delete_deleted_delete(xml_activity_delete_deleted *record) {
  TraceLines trace(kPrefix, __func__, __func__);
  if (record == nullptr) return;
  if (record == activity_delete_deleted) activity_delete_deleted = nullptr;
  std::free(record);
}

void __xml_activity_delete_delete(xml_activity_delete *record) {
  TraceLines trace(kPrefix, __func__, __func__);
  if (record == nullptr) return;
  __xml_activity_delete_deleted_delete(record->pstDeleted);
  if (record == activity_delete) activity_delete = nullptr;
  std::free(record);
}

void xml_activity_delete_delete(xml_activity_delete *record) {
  TraceLines trace(kPrefix, __func__, __func__);
  __xml_activity_delete_delete(record);
}

xml_activity_delete *xml_activity_delete_return(void) { return activity_delete; }

// Each answer replaces the records of the one before without releasing
// them: the engine may hold them (xml_activity_delete_return handed the
// record out) and releases them itself.
void xml_activity_delete_parser(uint32_t depth, const char *parent, xmlNode *node) {
  TraceLines trace(kPrefix, __func__, __func__);
  if (node == nullptr) return;
  if (depth == 0 && is_element(node, "Response")) {
    activity_delete = __xml_activity_delete_init();
  } else if (depth == 1 && is_element(node, "Deleted") && is_named(parent, "Response")) {
    xml_activity_delete_deleted *record = __xml_activity_delete_deleted_init();
    activity_delete_deleted = record;
    if (record != nullptr) record->pszCount = pd::parser::copy_attr(node, "Count");
  }
}

// ---------------------------------------------------------------------------
// The engine's flattened activity record

namespace {

struct PrintedField {
  const char *label;
  bool number;  // printed with %d; otherwise a text
  size_t offset;
};

#define PD_TEXT(label, field) {label, false, offsetof(db_activity, field)}
#define PD_NUMBER(label, field) {label, true, offsetof(db_activity, field)}
constexpr PrintedField kPrinted[] = {
    PD_NUMBER("response_has_next", iResponseHasNext),
    PD_TEXT("response_start_context", pszResponseStartContext),
    PD_TEXT("id", pszID),
    PD_NUMBER("sp", iSP),
    PD_TEXT("target_id", pszTargetID),
    PD_TEXT("act_date", pszActDate),
    PD_TEXT("type", pszType),
    PD_TEXT("content", pszContent),
    PD_TEXT("owner_id", pszOwnerID),
    PD_TEXT("owner_name", pszOwnerName),
    PD_TEXT("owner_profile_photo_url", pszOwnerProfilePhotoURL),
    PD_TEXT("owner_is_friend", pszOwnerIsFriend),
    PD_TEXT("related_id", pszRelatedID),
    PD_TEXT("related_name", pszRelatedName),
    PD_TEXT("url", pszURL),
    PD_NUMBER("recommends_count", iRecommendsCount),
    PD_NUMBER("comments_count", iCommentsCount),
    PD_NUMBER("commentable", iCommentable),
    PD_TEXT("group_id", pszGroupID),
    PD_TEXT("group_name", pszGroupName),
    PD_TEXT("group_content", pszGroupContent),
    PD_TEXT("group_caption", pszGroupCaption),
    PD_TEXT("group_link_title", pszGroupLinkTitle),
    PD_TEXT("group_link_author_name", pszGroupLinkAuthorName),
    PD_TEXT("group_link_photo_url", pszGroupLinkPhotoURL),
    PD_TEXT("photo_album_id", pszPhotoAlbumID),
    PD_TEXT("photo_album_name", pszPhotoAlbumName),
    PD_TEXT("photo_album_caption", pszPhotoAlbumCaption),
    PD_TEXT("photo_id", pszPhotoID),
    PD_TEXT("photo_thumbnail_url", pszPhotoThumbnailURL),
    PD_TEXT("photo_resolution", pszPhotoResolution),
    PD_TEXT("photo_owner_name", pszPhotoOwnerName),
    PD_NUMBER("photo_counts", iPhotoCounts),
    PD_TEXT("note_id", pszNoteID),
    PD_TEXT("note_title", pszNoteTitle),
    PD_TEXT("note_content", pszNoteContent),
    PD_TEXT("note_link_title", pszNoteLinkTitle),
    PD_TEXT("note_link_author_name", pszNoteLinkAuthorName),
    PD_TEXT("note_link_photo_url", pszNoteLinkPhotoURL),
    PD_TEXT("event_id", pszEventID),
    PD_TEXT("event_title", pszEventTitle),
    PD_TEXT("event_caption", pszEventCaption),
    PD_TEXT("event_content", pszEventContent),
    PD_TEXT("event_datetime", pszEventDatetime),
    PD_TEXT("event_location", pszEventLocation),
    PD_TEXT("event_hostname", pszEventHostname),
    PD_TEXT("event_link_title", pszEventLinkTitle),
    PD_TEXT("event_link_author_name", pszEventLinkAuthorName),
    PD_TEXT("event_link_photo_url", pszEventLinkPhotoURL),
    PD_TEXT("video_id", pszVideoID),
    PD_TEXT("video_title", pszVideoTitle),
    PD_TEXT("video_author_id", pszVideoAuthorID),
    PD_TEXT("video_author_name", pszVideoAuthorName),
    PD_TEXT("video_thumbnail_url", pszVideoThumbnailURL),
    PD_TEXT("video_source_url", pszVideoSourceURL),
    PD_TEXT("video_source_type", pszVideoSourceType),
    PD_TEXT("video_playtime_length", pszVideoPlaytimeLength),
};
#undef PD_TEXT
#undef PD_NUMBER

static_assert(std::size(kPrinted) == 57, "every field of the flattened record is printed");

}  // namespace

void __db_activity_data_print(const db_activity *record) {
  TraceLines trace(kPrefix, __func__, __func__);
  if (record == nullptr) return;
  const char *base = reinterpret_cast<const char *>(record);
  for (const PrintedField &field : kPrinted) {
    // Labels are padded with blanks to 27 characters.
    if (field.number)
      PD_LOG_STDOUT("%-27s[%d]\n", field.label,
                    *reinterpret_cast<const int32_t *>(base + field.offset));
    else
      PD_LOG_STDOUT("%-27s[%s]\n", field.label,
                    PD_STR(*reinterpret_cast<char *const *>(base + field.offset)));
  }
}

}  // extern "C"
