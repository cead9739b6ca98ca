// The element records: one table describes every type (its fields' sources
// in field order and how its operations trace), and each type's named
// operations are thin wrappers over three generic ones.
#include <cstdlib>
#include <initializer_list>
#include <string_view>

#include "log.h"
#include "parser/parse_support.h"
#include "parser/pd_xml_handlers.h"

namespace {

// Field sources besides attribute names.
constexpr const char *kText = "(text)";  // the text of the element's first child
constexpr const char *kNone = nullptr;   // a slot nothing fills

struct Tracing {
  bool silent = false;
  // Names printed instead of the function's own, where the type has always
  // printed a shortened one.
  const char *init = nullptr;
  const char *set = nullptr;
  const char *remove = nullptr;
};

struct ElementType {
  static constexpr size_t kMaxFields = 32;
  const char *name;
  const char *fields[kMaxFields];
  size_t count;
  Tracing tracing;
  // The fields read from attributes: their positions and names, indexed.
  uint8_t attribute_fields[kMaxFields]{};
  const char *attribute_names[kMaxFields]{};
  size_t attributes = 0;
  pd::parser::AttrIndex index{};

  constexpr ElementType(const char *type, std::initializer_list<const char *> sources,
                        Tracing trace = {})
      : name(type), fields{}, count(sources.size()), tracing(trace) {
    if (sources.size() > kMaxFields) throw "too many fields";
    size_t i = 0;
    for (const char *source : sources) {
      // By its first letter: "(" begins no attribute name (nor does a
      // pointer comparison between literals hold in a constant expression).
      if (source != kNone && source[0] != kText[0]) {
        attribute_fields[attributes] = static_cast<uint8_t>(i);
        attribute_names[attributes++] = source;
      }
      fields[i++] = source;
    }
    index = pd::parser::AttrIndex(attribute_names, attributes);
  }
};

// People reads "Commentable" twice, into fields 17 and 29: both carry the
// same value, as the engine has always received it.
constexpr ElementType kTypes[] = {
    {"link_photo", {"URL"}, {.silent = true}},
    {"thumbnail", {"URL"}},
    {"attachedphoto", {"ID", "AlbumID"}},
    {"video", {"ID", "Title", "AuthorID", "AuthorName", "Caption", "SourceURL", "SourceType",
      "PlayTimeLength"}},
    {"url", {"Title", "Caption", "Value"}},
    {"event", {"ID", "Title", "EventTime", "Location", "HostName"}},
    {"note", {"ID", "Title"}},
    {"photo", {"AlbumID", "AlbumName", "AlbumCaption", "ID", "OwnerName", "Resolution",
      "AuthorName", "Counts"}},
    {"link", {"Title", "AuthorName"}},
    {"group", {"ID", "Name", "Caption"}},
    {"photothumbnail", {"URL"}},
    {"owner", {"ID", "Name", "Type", "IsFriend"}},
    {"content", {kText}},
    {"activity", {"ID", "SP", "TargetID", "ActTime", "Type", "RelatedID", "RelatedName",
      "RecommendsCount", "CommentsCount", "MobileAuth", "Commentable"}},
    {"sender", {"ID", "Name"}},
    {"message", {"ID", "SendTime", "SP", "ThreadID", "Result", kText}},
    {"profilephoto", {"URL"}},
    {"receiver", {"ID", "Name"}},
    {"requester", {"ID", "Name"}},
    {"deleted", {"Count"}},
    {"poke", {"Add", "SendTime", "SP", "Hide"}},
    {"friendrequest", {"ID", "SP", "CreateTime", "Unread"}},
    {"description", {kText}},
    {"relationship", {"Status", "PartnerID", "PartnerName"}},
    {"attribute_address", {"Type", "Country", "City", "Detail", "Zip"}},
    {"attribute_school",
     {"Name", "Year", "Degree", "Major", "Minor", "Club", "Country", "Attending"},
     {.set = "xml_element_attribute_school"}},
    {"attribute_work", {"Employer", "Position", "Description", "StartMonth", "EndMonth",
      "Country", "City"}},
    {"attribute_page", {"ID", "Name"}},
    {"attribute_group", {"ID", "Name"}},
    {"attribute_network", {"ID", "Name"}, {.init = "xml_element_attribute_network"}},
    {"attribute_iminfo", {"IM", "Name"}},
    {"attribute_phone_num", {"Type", "Value"}},
    {"attribute_favorite", {"Type", kText}, {.init = "xml_element_attribute_favorite"}},
    {"people", {"Age", "Birthday", "BodyType", "Children", "City", "Description", "DisplayName",
      "Drinker", "Education", "Emails", "FirstName", "Gender", "Headline", "Height", "ID",
      "Income", "Commentable", "IsFriend", "LastName", "LikeToMeet", "Location", "MiddleName",
      "Name", "Occupation", "Policy", "Presence", "Relation", "Religion", "Commentable", "Smoker",
      "SP", "WebSite"}},
    {"status", {kText, "CreateTime", "ID"}},
    {"mood", {"ID", "IconID", "Text"}},
    {"response_base", {kNone, kNone, "StartContext", "HasNext"}},
};

constexpr size_t index_of(std::string_view name) {
  for (size_t i = 0; i < std::size(kTypes); ++i)
    if (name == kTypes[i].name) return i;
  throw "no such element type";
}

// "Xml_Element : <name> - Start" on the way in, "... - End" on the way out.
class Trace : public pd::parser::TraceLines {
 public:
  Trace(const ElementType &type, const char *override_name, const char *own_name)
      : TraceLines("Xml_Element : ", name(type, override_name, own_name),
                   name(type, override_name, own_name)) {}

 private:
  static const char *name(const ElementType &type, const char *override_name,
                          const char *own_name) {
    return type.tracing.silent ? nullptr : override_name ? override_name : own_name;
  }
};

// A record is a row of `count` texts.
void *element_init(const ElementType &type, const char *own_name) {
  Trace trace(type, type.tracing.init, own_name);
  return pd::parser::zeroed(type.count * sizeof(char *));
}

void element_set(const ElementType &type, const char *own_name, void *record, xmlNode *node) {
  Trace trace(type, type.tracing.set, own_name);
  if (record == nullptr) return;
  auto *fields = static_cast<char **>(record);
  // An element without text leaves its text field as it was.
  for (size_t i = 0; i < type.count; ++i)
    if (type.fields[i] == kText && node != nullptr && node->children != nullptr)
      pd::parser::store(fields[i], pd::parser::copy_first_text(node));
  char **targets[ElementType::kMaxFields];
  for (size_t k = 0; k < type.attributes; ++k) targets[k] = &fields[type.attribute_fields[k]];
  pd::parser::store_attrs(node, targets, type.attribute_names, type.attributes, type.index);
}

void element_delete(const ElementType &type, const char *own_name, void *record) {
  Trace trace(type, type.tracing.remove, own_name);
  pd::parser::release_row(record, type.count);
}

}  // namespace

// The named operations of one type. The record struct of the public header
// must be exactly the table's row of texts.
#define PD_ELEMENT_OPERATIONS(type)                                                           \
  namespace {                                                                                 \
  constexpr const ElementType &k_##type = kTypes[index_of(#type)];                            \
  static_assert(sizeof(xml_element_##type) == k_##type.count * sizeof(char *),                \
                "xml_element_" #type " must be a row of its table's fields");                 \
  }                                                                                           \
  extern "C" xml_element_##type *xml_element_##type##_init(void) {                            \
    void *record = element_init(k_##type, "xml_element_" #type "_init");                      \
    return static_cast<xml_element_##type *>(record);                                         \
  }                                                                                           \
  extern "C" void xml_element_##type##_set(xml_element_##type *record, xmlNode *node) {       \
    element_set(k_##type, "xml_element_" #type "_set", record, node);                         \
  }                                                                                           \
  extern "C" void xml_element_##type##_delete(xml_element_##type *record) {                   \
    element_delete(k_##type, "xml_element_" #type "_delete", record);                         \
  }

PD_ELEMENT_OPERATIONS(link_photo)
PD_ELEMENT_OPERATIONS(thumbnail)
PD_ELEMENT_OPERATIONS(attachedphoto)
PD_ELEMENT_OPERATIONS(video)
PD_ELEMENT_OPERATIONS(url)
PD_ELEMENT_OPERATIONS(event)
PD_ELEMENT_OPERATIONS(note)
PD_ELEMENT_OPERATIONS(photo)
PD_ELEMENT_OPERATIONS(link)
PD_ELEMENT_OPERATIONS(group)
PD_ELEMENT_OPERATIONS(photothumbnail)
PD_ELEMENT_OPERATIONS(owner)
PD_ELEMENT_OPERATIONS(content)
PD_ELEMENT_OPERATIONS(activity)
PD_ELEMENT_OPERATIONS(sender)
PD_ELEMENT_OPERATIONS(message)
PD_ELEMENT_OPERATIONS(profilephoto)
PD_ELEMENT_OPERATIONS(receiver)
PD_ELEMENT_OPERATIONS(requester)
PD_ELEMENT_OPERATIONS(deleted)
PD_ELEMENT_OPERATIONS(poke)
PD_ELEMENT_OPERATIONS(friendrequest)
PD_ELEMENT_OPERATIONS(description)
PD_ELEMENT_OPERATIONS(relationship)
PD_ELEMENT_OPERATIONS(attribute_address)
PD_ELEMENT_OPERATIONS(attribute_school)
PD_ELEMENT_OPERATIONS(attribute_work)
PD_ELEMENT_OPERATIONS(attribute_page)
PD_ELEMENT_OPERATIONS(attribute_group)
PD_ELEMENT_OPERATIONS(attribute_network)
PD_ELEMENT_OPERATIONS(attribute_iminfo)
PD_ELEMENT_OPERATIONS(attribute_phone_num)
PD_ELEMENT_OPERATIONS(attribute_favorite)
PD_ELEMENT_OPERATIONS(people)
PD_ELEMENT_OPERATIONS(status)
PD_ELEMENT_OPERATIONS(mood)
PD_ELEMENT_OPERATIONS(response_base)

#undef PD_ELEMENT_OPERATIONS

static_assert(std::size(kTypes) == 37, "the family has 37 types");
