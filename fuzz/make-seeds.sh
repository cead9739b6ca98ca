#!/usr/bin/env bash
# Writes seed inputs for every fuzz target from the golden files under
# tests/data: each golden reply for the parser and the response dispatch
# (the upload's replies also as whole exchanges), each golden request
# document's values for the composer, each gateway request's method and path
# for the gateway pieces. The input formats are described at the top of each
# fuzz_<name>.cc.
#
#   fuzz/make-seeds.sh OUT    writes OUT/<target>/<seed>
set -euo pipefail
cd "$(dirname "$0")/.."
out=${1:?usage: fuzz/make-seeds.sh OUT}
data=tests/data
mkdir -p "$out"/{fuzz_parser,fuzz_response,fuzz_composer,fuzz_gateway}

# One byte of the given value (0..255).
byte() { printf "\\$(printf '%03o' "$1")"; }

# The parser index and the engine request code a golden reply is read with,
# by its folder and name; "-" where the dispatcher never sees such a reply.
reply_kind() {
  case $1 in
    replies/login/* | wire/replies/login* | wire/replies/logout.xml) echo "0 0" ;;
    replies/logout/*) echo "0 28" ;;
    replies/activity/* | replies/elements/* | replies/walk/* | wire/replies/activity*) echo "5 4" ;;
    replies/activity_delete/*) echo "35 -" ;;  # walked directly by the parser target
    replies/comment_post/* | wire/replies/comment_*) echo "6 11" ;;
    replies/comment_retrieve/* | wire/replies/comments_* | wire/replies/cdata/comments_*) echo "7 8" ;;
    replies/friends/* | wire/replies/friends.xml) echo "8 29" ;;
    replies/message_folder/* | wire/replies/message_*) echo "16 32" ;;
    replies/message_post/* | wire/replies/send_message.xml | wire/replies/reply_message.xml) echo "34 34" ;;
    replies/people_search/* | wire/replies/search.xml) echo "23 30" ;;
    replies/profile_set/* | wire/replies/set_status.xml) echo "26 5" ;;
    replies/upload/location* | replies/upload/error-* | wire/replies/add_photo.xml) echo "29 -" ;;
    replies/upload/photo-* | wire/replies/upload_*) echo "30 -" ;;
    replies/album_photos/* | wire/replies/album_photos*) echo "32 18" ;;
    replies/albums/* | wire/replies/album_list.xml) echo "31 17" ;;
    # Error answers and documents that are none: any served request.
    *) echo "0 29" ;;
  esac
}

for file in $(cd $data && find replies wire/replies -name '*.xml' | sort); do
  name=$(echo "${file%.xml}" | tr '/' '-')
  read -r index code < <(reply_kind "$file")
  { byte "$index"; cat "$data/$file"; } >"$out/fuzz_parser/$name"
  # A response step: code, status 200, no flags, the body up to a NUL.
  if [ "$code" != "-" ]; then
    { byte "$code"; byte 0; byte 0; cat "$data/$file"; } >"$out/fuzz_response/$name"
  fi
done

# Whole uploads of a file of three chunks (flags: file 4): the location, the
# chunks accepted, the photo described or a gateway error at the end; and an
# empty file (file 0) in one chunk.
upload() {
  local seed=$1 flags=$2; shift 2
  local first=1
  for reply in "$@"; do
    [ $first -eq 1 ] || byte 0
    first=0
    byte 9; byte 0; byte "$flags"; cat "$data/replies/upload/$reply.xml"
  done >"$out/fuzz_response/$seed"
}
upload upload-whole 16 location photo-partial photo-partial photo-done
upload upload-error-at-the-end 16 location photo-partial photo-partial error-session
upload upload-empty-file 0 location photo-done
upload upload-no-location 16 location-broken

# Composer: the builder (by the document's name), no choice bytes, then
# every attribute value and element text of the document in order but the
# method, which the builder writes itself.
builders=(auth_login auth_logout auth_key_delete auth_resolve photo_update photo_delete photo_get
          notification_post message_poke_post message_poke_delete message_poke_retrieve message_post
          message_delete message_get message_folder_retrieve friend_request_post
          friend_request_accept friend_request_reject friend_request_get friend_grouping_retrieve
          people_profile_set people_profile_get people_info_get people_search comment_post
          comment_retrieve activity_get activity_delete photo_album_retrieve photo_album_get)
for file in $data/requests/*.xml; do
  name=$(basename "$file" .xml)
  for i in "${!builders[@]}"; do
    [ "${builders[$i]}" = "${name%%-*}" ] || continue
    { byte "$i"; byte 0
      sed -E 's/ Method="[^"]*"//' "$file" | grep -oE '="[^"]*"|>[^<>]+<' |
        sed -E 's/^="(.*)"$/\1/; s/^>(.*)<$/\1/' | tr '\n' '\0'
    } >"$out/fuzz_composer/$name"
  done
done
# The converters (choice 30) with each keyword they know.
for word in male female palisade velora vesper reply forward new full header inbox outbox save \
            trash temp all commenting photo note video profile activity bulletin statuslist true \
            false 1700000000; do
  { byte 30; byte 0; printf '%s' "$word"; } >"$out/fuzz_composer/convert-$word"
done

# Gateway pieces: the category and scheme the dispatcher uses for each
# served request, then the document's method and the URL's path, taken from
# each request the gateway tests' transcript shows (code, URL, method).
awk '/^> send\|/ { split($0, f, "|"); code = f[2]; url = ""; next }
     /^URL / && code != "" { url = $2; next }
     /Method="/ && url != "" { match($0, /Method="[^"]*"/); print code, url, substr($0, RSTART + 8, RLENGTH - 9);
                               code = ""; url = "" }' "$data/gateway/requests.transcript" |
while read -r code url method; do
  case $code in
    0 | 28) category=1 ;; 4) category=9 ;; 5) category=4 ;; 8 | 11 | 12 | 13) category=14 ;;
    9) category=11 ;; 17 | 18) category=12 ;; 29) category=6 ;; 30) category=39 ;;
    32) category=21 ;; 34) category=20 ;; *) continue ;;
  esac
  secure=0
  case $url in https://*) secure=1 ;; esac
  { byte "$category"; byte "$secure"; printf '%s' "$method"; byte 0; printf '%s' "/${url#*://*/}"
  } >"$out/fuzz_gateway/$code-$method"
done
