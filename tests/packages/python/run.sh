#!/bin/sh
# Installs the wheel into a new environment and uses it there.
# Usage: run.sh WHEEL_FOLDER CMNSYS QUERY_RPC_SERVER SOURCE_FOLDER
set -eu
wheels=$1 cmnsys=$2 server=$3 source=$4
tests=$source/tests/packages/python
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# protobuf and grpcio are those of the system.
/usr/bin/python3 -m venv --system-site-packages "$work/env"
"$work/env/bin/pip" install --quiet --no-index --no-deps "$wheels"/*.whl
cd "$work"

for backend in cpp python; do
  echo "== messages, backend $backend"
  PROTOCOL_BUFFERS_PYTHON_IMPLEMENTATION=$backend \
    env/bin/python "$tests/messages_test.py" "$backend" "$cmnsys"
done
echo "== the first sample of the guide"
"$source/tests/support/guide_block.sh" "$source/docs/python.md" python > guide.py
"$cmnsys" sample Event --count 10 --to delimited > events.delimited
env/bin/python guide.py | grep -q '"deviceId": "gate-1"'
echo "== calls and push"
PATH=$work/env/bin:$PATH \
  "$source/tests/rpc/interop/run.sh" "$server" "$source/examples" "$tests/calls_test.py"
echo "== types"
# Of the stubs of protobuf that python3-typeshed should have, Debian 12 has only the copy in
# python3-jedi; it has none of grpcio.
stubs=/usr/lib/python3/dist-packages/jedi/third_party/typeshed/third_party/2and3
mkdir stubs
ln -s "$stubs/google" stubs/google
cat > mypy.ini <<'END'
[mypy]
strict = True
[mypy-google.*]
ignore_errors = True
[mypy-grpc]
ignore_missing_imports = True
END
MYPYPATH=stubs mypy --config-file mypy.ini --cache-dir mypy --python-executable env/bin/python \
  "$tests/user.py"
