#!/usr/bin/env bash
# Makes certificates for a trial of mutual TLS on this machine: an authority (ca.pem), and with its
# signature a server (server.pem, server.key; for localhost and 127.0.0.1) and a client (client.pem,
# client.key). They are valid for two days. The authority's key is not kept.
# Usage: examples/make-certificates.sh FOLDER
set -euo pipefail

folder=${1:?usage: examples/make-certificates.sh FOLDER}
umask 077
mkdir -p "$folder"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

new_key() { openssl ecparam -name prime256v1 -genkey -noout -out "$1"; }

issue() {  # NAME SUBJECT_ALTERNATIVE_NAMES
  new_key "$work/$1.key"
  openssl req -new -key "$work/$1.key" -subj "/CN=$1" -out "$work/$1.csr"
  openssl x509 -req -in "$work/$1.csr" -CA "$work/ca.pem" -CAkey "$work/ca.key" -CAcreateserial \
    -days 2 -extfile <(printf 'subjectAltName=%s\n' "$2") -out "$work/$1.pem" 2> /dev/null
  mv "$work/$1.key" "$work/$1.pem" "$folder"
}

new_key "$work/ca.key"
openssl req -x509 -new -key "$work/ca.key" -subj "/CN=Trial authority" -days 2 -out "$work/ca.pem"
issue server DNS:localhost,IP:127.0.0.1
issue client DNS:client.example
cp "$work/ca.pem" "$folder"
