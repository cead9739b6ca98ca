// Photo album answers: a person's album list, walked by the frame, and the
// photos of an album, which read the document on their own.
#include <cstdlib>
#include <cstring>

#include "parser/parse_support.h"
#include "parser/pd_xml_handlers.h"

using pd::parser::copy_attr;
using pd::parser::copy_first_text;
using pd::parser::is_element;
using pd::parser::is_named;
using pd::parser::record_in;
using pd::parser::store;
using pd::parser::store_attr;
using pd::parser::store_attrs;

extern "C" {

// 0 / -1 / -255 are the answers the engine expects, odd as they look.
int32_t __data_album_get_visible(const char *text) {
  if (text == nullptr) return -255;
  return std::strcmp(text, "true") == 0 ? 0 : -1;
}

// ---------------------------------------------------------------------------
// Album list

xml_photo_album_get *__xml_photo_album_get_init(void) {
  return static_cast<xml_photo_album_get *>(pd::parser::zeroed(sizeof(xml_photo_album_get)));
}

xml_photo_album_get_album *__xml_photo_album_get_album_init(xml_photo_album_get *record) {
  auto *album =
      static_cast<xml_photo_album_get_album *>(pd::parser::zeroed(sizeof(xml_photo_album_get_album)));
  if (record != nullptr) pd::parser::append_node(&record->pstAlbum, album);
  return album;
}

xml_photo_album_get_album *__xml_photo_album_get_last_album(xml_photo_album_get *record) {
  return record != nullptr ? pd::parser::last_node(&record->pstAlbum) : nullptr;
}

void __xml_photo_album_get_delete(xml_photo_album_get *record) {
  if (record == nullptr) return;
  pd::parser::release_paging(record);
  pd::parser::release_list(&record->pstAlbum, [](xml_photo_album_get_album *album) {
    pd::parser::release_texts(album->pszID, album->pszSP, album->pszName, album->pszVisible,
                              album->pszPlace, album->pszCreatorID, album->pszPhotosCount,
                              album->pszDescription, album->pszCoverPhotoURL,
                              album->pszProfilePhotos);
    data_Del(album);
  });
  data_Del(record);
}

void xml_photo_album_get_delete(xml_photo_album_get *record) {
  __xml_photo_album_get_delete(record);
}

void xml_photo_album_get_parser(uint32_t depth, const char *parent, xmlNode *node,
                                intptr_t *result) {
  if (node == nullptr || result == nullptr) return;
  if (depth == 0) {
    pd::parser::open_reply(node, result, __xml_photo_album_get_init);
    return;
  }
  auto *record = record_in<xml_photo_album_get>(result);
  if (record == nullptr) return;
  if (depth == 1) {
    if (!is_element(node, "Album") || !is_named(parent, "Response")) return;
    xml_photo_album_get_album *album = __xml_photo_album_get_album_init(record);
    if (album == nullptr) return;
    store_attrs(node, {{&album->pszID, "ID"}, {&album->pszSP, "SP"}, {&album->pszName, "Name"},
                       {&album->pszVisible, "Visible"}, {&album->pszPlace, "Place"},
                       {&album->pszCreatorID, "CreatorID"}, {&album->pszPhotosCount, "PhotosCount"},
                       {&album->pszProfilePhotos, "ProfilePhotos"}});
    return;
  }
  if (depth != 2 || !is_named(parent, "Album")) return;
  xml_photo_album_get_album *album = __xml_photo_album_get_last_album(record);
  if (album == nullptr) return;
  if (is_element(node, "Description"))
    store(album->pszDescription, copy_first_text(node));
  else if (is_element(node, "CoverPhoto"))
    store_attr(album->pszCoverPhotoURL, node, "URL");
}

// ---------------------------------------------------------------------------
// Photos of an album

xml_photo_album_photo_list *xml_photo_album_get_photo_list_parser(xmlNode *root) {
  if (!is_element(root, "Response")) return nullptr;
  auto *record = static_cast<xml_photo_album_photo_list *>(
      pd::parser::zeroed(sizeof(xml_photo_album_photo_list)));
  if (record == nullptr) return nullptr;
  pd::parser::read_paging(record, root);
  xml_parse_photo_list(root->children, record);
  return record;
}

int xml_parse_photo_list(xmlNode *first, xml_photo_album_photo_list *record) {
  if (first == nullptr || record == nullptr) return -1;
  // The list is built here from start to end, so its tail is simply kept.
  xml_photo_album_photo **tail = &record->pstPhoto;
  while (*tail != nullptr) tail = &(*tail)->pstNext;
  for (xmlNode *node = first; node != nullptr; node = node->next) {
    if (!is_element(node, "Photo")) continue;
    auto *photo =
        static_cast<xml_photo_album_photo *>(pd::parser::zeroed(sizeof(xml_photo_album_photo)));
    if (photo == nullptr) continue;
    photo->pszID = copy_attr(node, "ID");
    if (char *count = copy_attr(node, "CommentsCount")) {
      photo->iCommentsCount = pd::parser::decimal_i32(count);
      data_Del(count);
    }
    photo->pszTitle = copy_attr(node, "Title");
    // Like the walk, only an element is entered: an entity reference's
    // children are its declaration, outside the document.
    xmlNode *first_child = node->type == XML_ELEMENT_NODE ? node->children : nullptr;
    for (xmlNode *child = first_child; child != nullptr; child = child->next) {
      if (is_element(child, "MainPhoto"))
        store_attr(photo->pszMainPhotoURL, child, "URL");
      else if (is_element(child, "Thumbnail"))
        store_attr(photo->pszThumbnailURL, child, "URL");
    }
    *tail = photo;
    tail = &photo->pstNext;
  }
  return 0;
}

}  // extern "C"
