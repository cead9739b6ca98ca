#!/usr/bin/env bash
# Makes a throw-away certificate authority and a server certificate signed by
# it, for running gateway-sim over HTTPS on a development host.
#
#   scripts/make-cert.sh DIR [HOST...]
#
# DIR receives ca.pem (give it to the transport as SNS_NT_CAINFO), ca.key,
# server.pem and server.key (give them to gateway-sim). The certificate names
# every HOST (default: gateway.palisade.example and upload.palisade.example)
# plus localhost and 127.0.0.1. Nothing here is a secret worth keeping.
set -euo pipefail

if [ $# -lt 1 ]; then
  echo "usage: $0 DIR [HOST...]" >&2
  exit 2
fi
dir=$1
shift
hosts=("$@")
if [ ${#hosts[@]} -eq 0 ]; then
  hosts=(gateway.palisade.example upload.palisade.example)
fi

mkdir -p "$dir"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

san="DNS:localhost,IP:127.0.0.1"
for host in "${hosts[@]}"; do
  san="DNS:$host,$san"
done

# Elliptic-curve keys: quick to make on every build.
openssl ecparam -name prime256v1 -genkey -noout -out "$work/ca.key"
openssl req -x509 -new -key "$work/ca.key" -sha256 -days 3650 \
  -subj "/CN=pd-plugin throw-away CA" \
  -addext "basicConstraints=critical,CA:TRUE" \
  -addext "keyUsage=critical,keyCertSign,cRLSign" \
  -out "$work/ca.pem" 2>/dev/null

openssl ecparam -name prime256v1 -genkey -noout -out "$work/server.key"
openssl req -new -key "$work/server.key" -subj "/CN=${hosts[0]}" -out "$work/server.csr"
cat > "$work/server.ext" <<EXT
basicConstraints=critical,CA:FALSE
keyUsage=critical,digitalSignature,keyEncipherment
extendedKeyUsage=serverAuth
subjectAltName=$san
EXT
openssl x509 -req -in "$work/server.csr" -CA "$work/ca.pem" -CAkey "$work/ca.key" \
  -CAcreateserial -sha256 -days 3650 -extfile "$work/server.ext" \
  -out "$work/server.pem" 2>/dev/null

for file in ca.pem ca.key server.pem server.key; do
  mv "$work/$file" "$dir/$file"
done
