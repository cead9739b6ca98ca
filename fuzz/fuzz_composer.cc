// Random argument texts and records for every request document builder,
// and random texts for the value converters.
//
// An input is a builder choice, a count of choice bytes, those bytes, and
// then the argument texts, each ended by a NUL. The choice bytes decide, one
// at a time as the builder's arguments are read, whether a text is null,
// short (the next text of the input) or long (that text repeated up to 2 KiB:
// past any fixed buffer) and how many nodes a record has; once they run out
// every text is short and every record has one node. So a request document's
// own values, in document order, make an input that composes much like it
// (fuzz/make-seeds.sh makes one per golden request). Each document is
// composed twice from the same input: once into no buffer, which measures
// it, then into a buffer of exactly that size, so any byte written past the
// measured end is caught by AddressSanitizer.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <deque>
#include <vector>

#include "composer/pd_composer.h"
#include "log.h"
#include "pd-plugin/pd_data.h"

namespace {

// Inputs beyond this add no new shapes, only time.
constexpr size_t kMaxInput = 4096;

class Input {
 public:
  Input(const uint8_t *data, size_t size) : data_(data), size_(size) {
    size_t count = size > 0 ? data[0] : 0;
    choices_ = size > 0 ? 1 : 0;
    choices_end_ = std::min(size, choices_ + count);
    texts_at_ = choices_end_;
  }

  // The next choice byte, or `otherwise` once they are used up.
  uint8_t choice(uint8_t otherwise) { return choices_ < choices_end_ ? data_[choices_++] : otherwise; }

  const char *text() {
    uint8_t kind = choice(2);
    if (kind % 8 == 0) return nullptr;
    std::string text = word();
    if (kind % 8 == 1) {
      std::string unit = text.empty() ? std::string("<&\"\xff") : text;
      size_t length = (static_cast<size_t>(choice(0)) % 8 + 1) * 256;
      text.clear();
      while (text.size() < length) text += unit;
    }
    texts_.push_back(std::move(text));
    return texts_.back().c_str();
  }

 private:
  // Bytes up to the next NUL or the end of the input.
  std::string word() {
    std::string out;
    while (texts_at_ < size_ && data_[texts_at_] != 0) out.push_back(static_cast<char>(data_[texts_at_++]));
    if (texts_at_ < size_) ++texts_at_;
    return out;
  }

  const uint8_t *data_;
  size_t size_;
  size_t choices_, choices_end_, texts_at_;
  std::deque<std::string> texts_;  // stable addresses until the builder has copied them
};

template <class>
const char *next_text(Input &in) {
  return in.text();
}

// Null, an empty record, or one to four nodes of random texts.
template <class T, class... Texts>
T *list(Input &in, T *(*create)(), T *(*add)(T *, Texts...)) {
  int shape = in.choice(2) % 6;
  if (shape == 0) return nullptr;
  T *record = create();
  for (int node = 1; node < shape; ++node) add(record, next_text<Texts>(in)...);
  return record;
}

#define PD_LIST(type) list(in, type##_create, type##_add)

Composer_Response *response(Input &in) {
  if (in.choice(1) % 4 == 0) return nullptr;
  return Composer_Response_create(in.text(), in.text(), in.text(), in.text());
}

Composer_FullText *full_text(Input &in) {
  static const char *const kValues[] = {"full", "header"};
  uint8_t kind = in.choice(3) % 4;
  if (kind == 0) return nullptr;
  const char *value = kind == 3 ? in.text() : kValues[kind - 1];
  return Composer_FullText_create(value, in.text());
}

using Builder = int (*)(Input &, char *);

const Builder kBuilders[] = {
    [](Input &in, char *b) { return xml_composer_auth_login(b, in.text(), in.text()); },
    [](Input &in, char *b) { return xml_composer_auth_logout(b, in.text()); },
    [](Input &in, char *b) { return xml_composer_auth_key_delete(b, in.text(), in.text()); },
    [](Input &in, char *b) { return xml_composer_auth_resolve(b, in.text()); },
    [](Input &in, char *b) {
      return xml_composer_photo_update(b, in.text(), PD_LIST(Composer_Photo), PD_LIST(Composer_Album),
                                       PD_LIST(Composer_File));
    },
    [](Input &in, char *b) { return xml_composer_photo_delete(b, in.text(), PD_LIST(Composer_Photo)); },
    [](Input &in, char *b) {
      return xml_composer_photo_get(b, in.text(), PD_LIST(Composer_People), PD_LIST(Composer_Photo),
                                    PD_LIST(Composer_Params));
    },
    [](Input &in, char *b) {
      return xml_composer_notification_post(b, in.text(), in.text(), PD_LIST(Composer_Notification));
    },
    [](Input &in, char *b) { return xml_composer_message_poke_post(b, in.text(), PD_LIST(Composer_Poke)); },
    [](Input &in, char *b) { return xml_composer_message_poke_delete(b, in.text(), PD_LIST(Composer_Poke)); },
    [](Input &in, char *b) {
      return xml_composer_message_poke_retrieve(b, in.text(), in.text(), response(in));
    },
    [](Input &in, char *b) {
      return xml_composer_message_post(b, in.text(), PD_LIST(Composer_Receiver), in.text(), in.text(),
                                       PD_LIST(Composer_Reply), in.text());
    },
    [](Input &in, char *b) {
      return xml_composer_message_delete(b, in.text(), in.text(), PD_LIST(Composer_Message));
    },
    [](Input &in, char *b) {
      return xml_composer_message_get(b, in.text(), PD_LIST(Composer_Thread), PD_LIST(Composer_Message),
                                      full_text(in));
    },
    [](Input &in, char *b) {
      return xml_composer_message_folder_retrieve(b, in.text(), PD_LIST(Composer_People), in.text(),
                                                  in.text(), in.text(), response(in), full_text(in));
    },
    [](Input &in, char *b) {
      return xml_composer_friend_request_post(b, in.text(), PD_LIST(Composer_People));
    },
    [](Input &in, char *b) {
      return xml_composer_friend_request_accept(b, in.text(), PD_LIST(Composer_FriendRequest));
    },
    [](Input &in, char *b) {
      return xml_composer_friend_request_reject(b, in.text(), PD_LIST(Composer_FriendRequest));
    },
    [](Input &in, char *b) {
      return xml_composer_friend_request_get(b, in.text(), PD_LIST(Composer_FriendRequest), response(in));
    },
    [](Input &in, char *b) {
      return xml_composer_friend_grouping_retrieve(b, in.text(), PD_LIST(Composer_People), response(in));
    },
    [](Input &in, char *b) {
      return xml_composer_people_profile_set(b, in.text(), PD_LIST(Composer_People), in.text());
    },
    [](Input &in, char *b) {
      return xml_composer_people_profile_get(b, in.text(), PD_LIST(Composer_People), PD_LIST(Composer_Params));
    },
    [](Input &in, char *b) {
      return xml_composer_people_info_get(b, in.text(), PD_LIST(Composer_People), PD_LIST(Composer_Params));
    },
    [](Input &in, char *b) {
      return xml_composer_people_search(b, in.text(), in.text(), in.text(), in.text(), response(in));
    },
    [](Input &in, char *b) {
      return xml_composer_comment_post(b, in.text(), PD_LIST(Composer_Target), in.text());
    },
    [](Input &in, char *b) {
      return xml_composer_comment_retrieve(b, in.text(), PD_LIST(Composer_Target), response(in));
    },
    [](Input &in, char *b) {
      return xml_composer_activity_get(b, in.text(), PD_LIST(Composer_Target), response(in), full_text(in));
    },
    [](Input &in, char *b) {
      return xml_composer_activity_delete(b, in.text(), PD_LIST(Composer_Activity));
    },
    [](Input &in, char *b) {
      return xml_composer_photo_album_retrieve(b, in.text(), PD_LIST(Composer_People), PD_LIST(Composer_Album),
                                               PD_LIST(Composer_Params), response(in));
    },
    [](Input &in, char *b) {
      return xml_composer_photo_album_get(b, in.text(), PD_LIST(Composer_People), PD_LIST(Composer_Album),
                                          PD_LIST(Composer_Params), response(in));
    },
};
constexpr size_t kBuilderCount = sizeof kBuilders / sizeof kBuilders[0];
static_assert(kBuilderCount == 30);

void check(bool condition) {
  if (!condition) std::abort();
}

void compose(Builder builder, const uint8_t *data, size_t size) {
  Input measuring(data, size);
  xml_composer_set_xml_last_index(0);
  int code = builder(measuring, nullptr);
  const uint32_t length = xml_last_index;

  std::vector<char> buffer(static_cast<size_t>(length) + 1, '\x7f');
  Input writing(data, size);
  xml_composer_set_xml_last_index(0);
  check(builder(writing, buffer.data()) == code);
  check(xml_last_index == length && xml_last_index < buffer.size());
  // A failed argument check writes nothing at all; anything written ends
  // in a NUL at the write position.
  if (length == 0) check(code != 0 && buffer[0] == '\x7f');
  else check(buffer[xml_last_index] == '\0');
  if (code == 0) {
    static constexpr char kHead[] = "<Request Method=";
    static constexpr char kTail[] = "</Request>\n";
    check(length >= sizeof kHead - 1 + sizeof kTail - 1);
    check(std::memcmp(buffer.data(), kHead, sizeof kHead - 1) == 0);
    check(std::memcmp(buffer.data() + length - (sizeof kTail - 1), kTail, sizeof kTail - 1) == 0);
  }
}

void convert(Input &in) {
  const char *text = in.text();
  int32_t number = 0;
  uint8_t flag = 0;
  data_Int(text, &number);
  data_Sex(text, &number);
  data_SP(text, &number);
  data_iBool(text, &number);
  data_Bool(text, &flag, 1);
  checkSendType(text);
  checkFullText(text);
  checkFolder(text);
  checkTargetType(text);
  data_Phone(text);
  char *plain = data_RejectCDATA(text);
  check((plain == nullptr) == (text == nullptr));
  if (plain != nullptr) check(std::strlen(plain) <= std::strlen(text));
  data_Del(plain);
  if (text != nullptr) {
    // Destinations of exactly the documented sizes.
    std::vector<char> copy(std::strlen(text) + 2);
    data_Str(copy.data(), text);
    check(copy[copy.size() - 1] == '\0' && copy[copy.size() - 2] == '\0');
    std::vector<char> date(PD_DATA_DATE_SIZE, '\0');
    std::memset(date.data(), 'z', in.choice(0) % PD_DATA_DATE_SIZE);
    data_Date(date.data(), text);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  pd::log::set_level(pd::log::Level::none);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0 || size > kMaxInput) return 0;
  size_t choice = data[0] % (kBuilderCount + 1);
  if (choice == kBuilderCount) {
    Input in(data + 1, size - 1);
    convert(in);
  } else {
    compose(kBuilders[choice], data + 1, size - 1);
  }
  return 0;
}
