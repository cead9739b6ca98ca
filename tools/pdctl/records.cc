#include "records.h"

#include "pd-plugin/pd_plugin.h"
#include "pd-plugin/pd_records.h"
#include "pd-plugin/pd_upload.h"

namespace pdctl {
namespace {

Value opt(const char *text) { return text != nullptr ? Value(std::string(text)) : Value(); }

// "Name (ID)", or whichever of the two is known: who wrote, sent or owns.
Value person(const char *name, const char *id) {
  if (name == nullptr || id == nullptr) return opt(name != nullptr ? name : id);
  return std::string(name) + " (" + id + ")";
}

std::string joined(const char *kind, const char *name) {
  return name != nullptr && *name != '\0' ? std::string(kind) + " " + name : kind;
}

// The texts of the holders the activity tree keeps its element records in.
Value content(const xml_activity_get_content *holder) {
  return holder != nullptr && holder->pstContent != nullptr ? opt(holder->pstContent->pszContent)
                                                            : Value();
}
Value thumbnail(const xml_activity_get_thumbnail *holder) {
  return holder != nullptr && holder->pstThumbnail != nullptr ? opt(holder->pstThumbnail->pszURL)
                                                              : Value();
}

template <class R>
std::vector<Cell> paging(const R *head) {
  if (head == nullptr) return {};
  return {{"start_context", "", opt(head->pszStartContext)},
          {"has_next", "", opt(head->pszHasNext), Style::flag}};
}

template <class N>
using Build = std::function<Node(const N &)>;

template <class N>
List list_of(std::string key, const N *head, const Build<N> &build, bool shown = true) {
  List list{std::move(key), shown, {}};
  for_each_node(head, [&](const N &node) { list.nodes.push_back(build(node)); });
  return list;
}

// A node of the cells of `fields`, without a title (table rows).
template <class N>
Build<N> rows(const Fields<N> &fields) {
  return [&fields](const N &node) { return Node{{}, cells_of(node, fields), {}}; };
}

View list_view(Layout layout, std::vector<Cell> head, List list, std::string empty) {
  return View{layout, std::move(head), std::move(list), std::move(empty)};
}

template <class R>
View record_view(const R &record, const Fields<R> &fields, std::string title) {
  return View{Layout::record, {}, List{"record", true, {Node{std::move(title), cells_of(record, fields), {}}}}, {}};
}

// --- login -------------------------------------------------------------------

View login_view(const xml_base &r) {
  using R = xml_base;
  static const Fields<R> fields = {
      text("people_id", "Person ID", &R::pszRemoteLoginInfoLoginPeopleID),
      text("display_name", "Name", &R::pszRemoteLoginInfoDisplayName),
      text("session_key", "Session key", &R::pszSessionKey),
      text("persist_key", "Persist key", &R::pszPersistKeyValue),
      text("persist_key_expires", "Persist key expires", &R::pszPersistKeyExpires, Style::number),
      text("server_addr", "Server", &R::pszServerAddr),
      text("profile_photo_url", "Profile photo", &R::pszProfilePhotoURL),
  };
  return record_view(r, fields, "Logged in");
}

// --- friends -----------------------------------------------------------------

View friends_view(const xml_friend_grouping_retrieve &r) {
  using F = xml_friend_grouping_friend;
  static const Fields<F> fields = {
      text("id", "ID", &F::pszID),
      text("sp", "", &F::pszSP),
      text("grouping_id", "Group", &F::pszGroupingID),
      text("display_name", "Name", &F::pszDisplayName),
      text("full_name", "", &F::pszFullName),
      text("email", "", &F::pszEmail),
      text("relation_type", "Relation", &F::pszRelationType),
      text("relation_modify_time", "", &F::pszRelationModifyTime, Style::time),
      text("presence", "Presence", &F::pszPresence),
      text("location", "", &F::pszLocation),
      text("city", "City", &F::pszCity),
      text("age", "", &F::pszAge, Style::number),
      text("status", "Status", &F::pszStatus),
      text("status_create_time", "", &F::pszStatusCreateTime, Style::time),
      text("status_id", "", &F::pszStatusID),
      text("mood_id", "", &F::pszMoodID),
      text("mood_icon_id", "", &F::pszMoodIconID),
      text("mood_text", "", &F::pszMoodText),
      text("profile_photo_url", "", &F::pszProfilePhotoURL),
      text("following_num", "", &F::pszFollowingNum, Style::number),
      text("follower_num", "", &F::pszFollowerNum, Style::number),
  };
  return list_view(Layout::table, paging(&r), list_of<F>("friends", r.pstFriend, rows(fields)),
                      "No friends.");
}

// --- activity feed -----------------------------------------------------------

using Link = xml_activity_get_link;

List links_of(const xml_activity_get_links *holder) {
  static const Fields<Link> fields = {
      {"title", "Title", [](const Link &l) { return l.pstLink ? opt(l.pstLink->pszTitle) : Value(); }},
      {"author_name", "Author",
       [](const Link &l) { return l.pstLink ? opt(l.pstLink->pszAuthorName) : Value(); }},
      {"photo_url", "Picture",
       [](const Link &l) {
         return l.pstLinkPhoto && l.pstLinkPhoto->pstLinkPhoto ? opt(l.pstLinkPhoto->pstLinkPhoto->pszURL)
                                                               : Value();
       }},
  };
  return list_of<Link>("links", holder != nullptr ? holder->pstLink : nullptr,
                       [](const Link &l) { return Node{"Link", cells_of(l, fields), {}}; });
}

// An item of an activity (group, photo, note, event, web page, video,
// attached photo): its element record and, where the item has them, its
// content, thumbnail and links.
template <class Item, class Element>
Build<Item> item_builder(const char *kind, Element *Item::*element, const Fields<Element> &fields,
                         char *Element::*name) {
  return [=, &fields](const Item &item) {
    Fields<Item> lifted;
    add_lifted(lifted, element, fields, "");
    if constexpr (requires { &Item::pstContent; })
      lifted.push_back({"content", "Text", [](const Item &i) { return content(i.pstContent); }});
    if constexpr (requires { &Item::pstThumbnail; })
      lifted.push_back(
          {"thumbnail_url", "Thumbnail", [](const Item &i) { return thumbnail(i.pstThumbnail); }});
    std::vector<List> lists;
    if constexpr (requires { &Item::pstLinks; }) lists.push_back(links_of(item.pstLinks));
    const Element *record = item.*element;
    return Node{joined(kind, record != nullptr ? record->*name : nullptr), cells_of(item, lifted),
                std::move(lists)};
  };
}

Node activity_node(const xml_activity_get_activity &a) {
  using A = xml_activity_get_activity;
  using E = xml_element_activity;
  using O = xml_activity_get_owner;
  using OwnerElement = xml_element_owner;
  static const Fields<A> fields = [] {
    // The owner's element record and the pictures in its two holders.
    Fields<O> owner;
    add_lifted(owner, &O::pstOwner,
               Fields<OwnerElement>{text("id", "", &OwnerElement::pszID), text("name", "", &OwnerElement::pszName),
                          text("type", "", &OwnerElement::pszType), text("is_friend", "", &OwnerElement::pszIsFriend, Style::flag)},
               "");
    owner.push_back({"profile_photo_url", "", [](const O &o) {
                       return o.pstProfilePhoto && o.pstProfilePhoto->pstProfilePhoto
                                  ? opt(o.pstProfilePhoto->pstProfilePhoto->pszURL)
                                  : Value();
                     }});
    owner.push_back({"photo_thumbnail_url", "", [](const O &o) {
                       return o.pstPhotoThumbnail && o.pstPhotoThumbnail->pstPhotoThumbnail
                                  ? opt(o.pstPhotoThumbnail->pstPhotoThumbnail->pszURL)
                                  : Value();
                     }});
    Fields<A> f;
    add_lifted(f, &A::pstActivity,
               Fields<E>{text("id", "", &E::pszID), text("sp", "", &E::pszSP),
                         text("type", "", &E::pszType)},
               "");
    f.push_back({"", "By", [](const A &a) {
                   const OwnerElement *o = a.pstOwner != nullptr ? a.pstOwner->pstOwner : nullptr;
                   return o != nullptr ? person(o->pszName, o->pszID) : Value();
                 }});
    add_lifted(f, &A::pstOwner, owner, "owner_");
    add_lifted(f, &A::pstActivity,
               Fields<E>{text("act_time", "Time", &E::pszActTime, Style::time),
                         text("target_id", "About", &E::pszTargetID)},
               "");
    f.push_back({"content", "Text", [](const A &a) { return content(a.pstContent); }});
    f.push_back({"", "Related", [](const A &a) {
                   return a.pstActivity ? person(a.pstActivity->pszRelatedName, a.pstActivity->pszRelatedID)
                                        : Value();
                 }});
    add_lifted(f, &A::pstActivity,
               Fields<E>{text("related_id", "", &E::pszRelatedID),
                         text("related_name", "", &E::pszRelatedName),
                         text("recommends_count", "Recommends", &E::pszRecommendsCount, Style::number),
                         text("comments_count", "Comments", &E::pszCommentsCount, Style::number),
                         text("mobile_auth", "", &E::pszMobileAuth, Style::flag),
                         text("commentable", "", &E::pszCommentable, Style::flag)},
               "");
    return f;
  }();

  using G = xml_element_group;
  static const Fields<G> groups = {text("id", "", &G::pszID), text("name", "Name", &G::pszName),
                                   text("caption", "Caption", &G::pszCaption)};
  using P = xml_element_photo;
  static const Fields<P> photos = {
      text("id", "", &P::pszID),
      text("album_id", "Album ID", &P::pszAlbumID),
      text("album_name", "Album", &P::pszAlbumName),
      text("album_caption", "Album caption", &P::pszAlbumCaption),
      text("owner_name", "Owner", &P::pszOwnerName),
      text("author_name", "Author", &P::pszAuthorName),
      text("resolution", "Resolution", &P::pszResolution),
      text("counts", "Counts", &P::pszCounts, Style::number),
  };
  using N = xml_element_note;
  static const Fields<N> notes = {text("id", "", &N::pszID), text("title", "Title", &N::pszTitle)};
  using V = xml_element_event;
  static const Fields<V> events = {
      text("id", "", &V::pszID), text("title", "Title", &V::pszTitle),
      text("event_time", "When", &V::pszEventTime, Style::time),
      text("location", "Where", &V::pszLocation), text("host_name", "Host", &V::pszHostName)};
  using U = xml_element_url;
  static const Fields<U> urls = {text("title", "Title", &U::pszTitle),
                                 text("caption", "Caption", &U::pszCaption),
                                 text("value", "Address", &U::pszValue)};
  using W = xml_element_video;
  static const Fields<W> videos = {
      text("id", "", &W::pszID), text("title", "Title", &W::pszTitle),
      text("author_id", "", &W::pszAuthorID), text("author_name", "Author", &W::pszAuthorName),
      text("caption", "Caption", &W::pszCaption), text("source_url", "Source", &W::pszSourceURL),
      text("source_type", "Format", &W::pszSourceType),
      text("play_time_length", "Length", &W::pszPlayTimeLength, Style::number)};
  using T = xml_element_attachedphoto;
  static const Fields<T> attached = {text("id", "", &T::pszID),
                                     text("album_id", "Album ID", &T::pszAlbumID)};

  std::string title = "Activity";
  if (a.pstActivity != nullptr) {
    title = joined("Activity", a.pstActivity->pszID);
    if (a.pstActivity->pszType != nullptr) title += std::string(": ") + a.pstActivity->pszType;
  }
  using GI = xml_activity_get_group;
  using PI = xml_activity_get_photo;
  using NI = xml_activity_get_note;
  using EI = xml_activity_get_event;
  using UI = xml_activity_get_url;
  using VI = xml_activity_get_video;
  using TI = xml_activity_get_attachedphoto;
  return Node{
      title,
      cells_of(a, fields),
      {list_of<GI>("groups", a.pstGroup, item_builder("Group", &GI::pstGroup, groups, &G::pszID)),
       list_of<PI>("photos", a.pstPhoto, item_builder("Photo", &PI::pstPhoto, photos, &P::pszID)),
       list_of<NI>("notes", a.pstNote, item_builder("Note", &NI::pstNote, notes, &N::pszID)),
       list_of<EI>("events", a.pstEvent, item_builder("Event", &EI::pstEvent, events, &V::pszID)),
       list_of<UI>("urls", a.pstURL, item_builder("Web page", &UI::pstURL, urls, &U::pszTitle)),
       list_of<VI>("videos", a.pstVideo, item_builder("Video", &VI::pstVideo, videos, &W::pszID)),
       list_of<TI>("attached_photos", a.pstAttachedPhoto,
                   item_builder("Attached photo", &TI::pstAttachedPhoto, attached, &T::pszID))}};
}

View feed_view(const xml_activity_get &r) {
  return list_view(
      Layout::tree, paging(r.pstResponseBase),
      list_of<xml_activity_get_activity>("activities", r.pstActivity, activity_node),
      "No activities.");
}

// --- people search -----------------------------------------------------------

View search_view(const xml_people_search &r) {
  using S = xml_people_search_people;
  using P = xml_element_people;
  using St = xml_element_status;
  using M = xml_element_mood;
  static const Fields<S> fields = [] {
    Fields<S> f;
    add_lifted(f, &S::pstPeople,
               Fields<P>{
                   text("id", "ID", &P::pszID), text("display_name", "Name", &P::pszDisplayName),
                   text("name", "", &P::pszName), text("first_name", "", &P::pszFirstName),
                   text("middle_name", "", &P::pszMiddleName), text("last_name", "", &P::pszLastName),
                   text("sp", "", &P::pszSP), text("age", "", &P::pszAge, Style::number),
                   text("birthday", "", &P::pszBirthday), text("gender", "", &P::pszGender),
                   text("city", "City", &P::pszCity), text("location", "", &P::pszLocation),
                   text("presence", "Presence", &P::pszPresence),
                   text("is_friend", "Friend", &P::pszIsFriend, Style::flag),
                   text("relation", "", &P::pszRelation), text("headline", "", &P::pszHeadline),
                   text("description", "", &P::pszDescription),
                   text("occupation", "", &P::pszOccupation),
                   text("education", "", &P::pszEducation), text("income", "", &P::pszIncome),
                   text("emails", "", &P::pszEmails), text("web_site", "", &P::pszWebSite),
                   text("body_type", "", &P::pszBodyType), text("height", "", &P::pszHeight),
                   text("children", "", &P::pszChildren), text("drinker", "", &P::pszDrinker),
                   text("smoker", "", &P::pszSmoker), text("religion", "", &P::pszReligion),
                   text("like_to_meet", "", &P::pszLikeToMeet), text("policy", "", &P::pszPolicy),
                   text("commentable", "", &P::pszCommentable, Style::flag),
                   text("commentable2", "", &P::pszCommentable2, Style::flag)},
               "");
    add_lifted(f, &S::pstStatus,
               Fields<St>{text("status", "Status", &St::pszStatus),
                          text("status_create_time", "", &St::pszCreateTime, Style::time),
                          text("status_id", "", &St::pszID)},
               "");
    add_lifted(f, &S::pstMood,
               Fields<M>{text("id", "", &M::pszID), text("icon_id", "", &M::pszIconID),
                         text("text", "", &M::pszText)},
               "mood_");
    f.push_back(text("profile_photo_url", "", &S::pszProfilePhotoURL));
    return f;
  }();
  return list_view(Layout::table, paging(&r), list_of<S>("people", r.pstPeople, rows(fields)),
                      "Nobody found.");
}

// --- comments ----------------------------------------------------------------

View comments_view(const xml_comment_retrieve &r) {
  using C = xml_comment_retrieve_comment;
  static const Fields<C> fields = {
      text("id", "ID", &C::pszID),
      text("sp", "", &C::pszSP),
      text("target_id", "", &C::pszTargetID),
      text("create_time", "Time", &C::pszCreateTime, Style::time),
      {"", "By", [](const C &c) { return person(c.pszCommenterName, c.pszCommenterID); }},
      text("commenter_id", "", &C::pszCommenterID),
      text("commenter_name", "", &C::pszCommenterName),
      text("commenter_photo_url", "", &C::pszCommenterPhotoURL),
      text("recommend", "", &C::pszRecommend, Style::flag),
      text("content", "Comment", &C::pszContent),
  };
  return list_view(Layout::table, paging(&r), list_of<C>("comments", r.pstComment, rows(fields)),
                      "No comments.");
}

View comment_post_view(const xml_comment_post &r) {
  using C = xml_comment_post_comment;
  static const Fields<C> fields = {text("id", "Comment", &C::pszID),
                                   text("target_id", "On", &C::pszTargetID),
                                   text("result", "Result", &C::pszResult, Style::flag)};
  return list_view(Layout::table, {}, list_of<C>("comments", r.pstComment, rows(fields)),
                      "The gateway confirmed no comment.");
}

// --- albums and photos -------------------------------------------------------

View albums_view(const xml_photo_album_get &r) {
  using A = xml_photo_album_get_album;
  static const Fields<A> fields = {
      text("id", "ID", &A::pszID),
      text("sp", "", &A::pszSP),
      text("name", "Name", &A::pszName),
      text("photos_count", "Photos", &A::pszPhotosCount, Style::number),
      text("visible", "Visible", &A::pszVisible, Style::flag),
      text("place", "Place", &A::pszPlace),
      text("creator_id", "", &A::pszCreatorID),
      text("description", "Description", &A::pszDescription),
      text("cover_photo_url", "", &A::pszCoverPhotoURL),
      text("profile_photos", "", &A::pszProfilePhotos, Style::flag),
  };
  return list_view(Layout::table, paging(&r), list_of<A>("albums", r.pstAlbum, rows(fields)),
                      "No albums.");
}

View photos_view(const xml_photo_album_photo_list &r) {
  using P = xml_photo_album_photo;
  static const Fields<P> fields = {
      text("id", "ID", &P::pszID),
      text("title", "Title", &P::pszTitle),
      {"comments_count", "Comments", [](const P &p) { return Value(int64_t{p.iCommentsCount}); }},
      text("main_photo_url", "Picture", &P::pszMainPhotoURL),
      text("thumbnail_url", "", &P::pszThumbnailURL),
  };
  return list_view(Layout::table, paging(&r), list_of<P>("photos", r.pstPhoto, rows(fields)),
                      "No photos.");
}

View upload_view(const xml_photo &r) {
  static const Fields<xml_photo> fields = {
      text("id", "Photo ID", &xml_photo::pszID),
      text("album_id", "Album", &xml_photo::pszAlbumID),
      text("sp", "Service", &xml_photo::pszSP),
      text("status", "Status", &xml_photo::pszStatus),
  };
  return record_view(r, fields, "Photo uploaded");
}

// --- messages ----------------------------------------------------------------

using Receiver = xml_message_folder_receiver;
using Group = xml_message_folder_receivers;
using Message = xml_message_folder_message;
using Thread = xml_message_folder_thread;

// Every receiver group as "A (1), B (2)", groups parted by "; ".
Value receivers_line(const Message &m) {
  std::string line;
  for_each_node(m.pstReceivers, [&](const Group &group) {
    if (!line.empty()) line += "; ";
    std::string names;
    for_each_node(group.pstReceiver, [&](const Receiver &receiver) {
      Value who = person(receiver.pszName, receiver.pszID);
      if (const auto *text = std::get_if<std::string>(&who))
        names += (names.empty() ? "" : ", ") + *text;
    });
    line += names;
  });
  return line.empty() ? Value() : Value(line);
}

Node message_node(const Message &m) {
  static const Fields<Message> fields = {
      text("id", "", &Message::pszID),
      text("sp", "", &Message::pszSP),
      text("title", "", &Message::pszTitle),
      {"", "From", [](const Message &m) { return person(m.pszSenderName, m.pszSenderID); }},
      text("sender_id", "", &Message::pszSenderID),
      text("sender_name", "", &Message::pszSenderName),
      text("sender_photo_url", "", &Message::pszSenderPhotoURL),
      {"", "To", receivers_line},
      text("send_time", "Sent", &Message::pszSendTime, Style::time),
      text("content", "Text", &Message::pszContent),
  };
  static const Fields<Receiver> receiver_fields = {text("id", "", &Receiver::pszID),
                                                   text("name", "", &Receiver::pszName),
                                                   text("photo_url", "", &Receiver::pszPhotoURL)};
  std::string title = joined("Message", m.pszID);
  if (m.pszTitle != nullptr) title += std::string(": ") + m.pszTitle;
  List groups = list_of<Group>(
      "receiver_groups", m.pstReceivers,
      [](const Group &g) {
        return Node{{},
                    {{"count", "", Value(int64_t{g.uCount})}},
                    {list_of<Receiver>("receivers", g.pstReceiver, rows(receiver_fields))}};
      },
      false);
  return Node{title, cells_of(m, fields), {std::move(groups)}};
}

Node thread_node(const Thread &t) {
  static const Fields<Thread> fields = {text("id", "", &Thread::pszID),
                                        text("unread", "", &Thread::pszUnread, Style::number),
                                        text("folder", "", &Thread::pszFolder)};
  std::string title = joined("Thread", t.pszID);
  if (t.pszFolder != nullptr) title += std::string(" in ") + t.pszFolder;
  if (t.pszUnread != nullptr) title += std::string(", ") + t.pszUnread + " unread";
  return Node{title, cells_of(t, fields), {list_of<Message>("messages", t.pstMessage, message_node)}};
}

View folder_view(const xml_message_folder_retrieve &r) {
  return list_view(Layout::tree, paging(&r), list_of<Thread>("threads", r.pstThread, thread_node),
                           "No messages.");
}

template <class R>
const R &as(intptr_t record) {
  return *reinterpret_cast<const R *>(record);
}

}  // namespace

View note_view(std::string sentence) { return View{Layout::note, {}, {}, std::move(sentence)}; }

View view_of_record(uint32_t code, intptr_t record) {
  switch (code) {
    case PD_REQ_LOGIN: return login_view(as<xml_base>(record));
    case PD_REQ_ACTIVITY_FEED: return feed_view(as<xml_activity_get>(record));
    case PD_REQ_SET_STATUS: return note_view("Status set.");
    case PD_REQ_GET_PHOTO_COMMENTS:
    case PD_REQ_GET_ACTIVITY_COMMENTS: return comments_view(as<xml_comment_retrieve>(record));
    case PD_REQ_UPLOAD_PHOTO: return upload_view(as<xml_photo>(record));
    case PD_REQ_COMMENT_PHOTO:
    case PD_REQ_COMMENT_ACTIVITY: return comment_post_view(as<xml_comment_post>(record));
    case PD_REQ_ALBUM_LIST: return albums_view(as<xml_photo_album_get>(record));
    case PD_REQ_ALBUM_PHOTOS: return photos_view(as<xml_photo_album_photo_list>(record));
    case PD_REQ_FRIENDS: return friends_view(as<xml_friend_grouping_retrieve>(record));
    case PD_REQ_PEOPLE_SEARCH: return search_view(as<xml_people_search>(record));
    case PD_REQ_MESSAGE_FOLDER: return folder_view(as<xml_message_folder_retrieve>(record));
    default: return note_view("Done.");
  }
}

}  // namespace pdctl
