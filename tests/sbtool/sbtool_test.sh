#!/usr/bin/env bash
# Shell tests of sbtool: every operation on a known input, bad options,
# unreadable and empty input, and a round trip of every reversible pair.
# Usage: sbtool_test.sh PATH_TO_SBTOOL
set -u
tool="$1"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
passed=0 failed=0

check() {  # name expected actual
  if [ "$2" == "$3" ]; then passed=$((passed + 1)); else
    failed=$((failed + 1)); printf 'FAIL %s\n  expected: %q\n  actual:   %q\n' "$1" "$2" "$3"; fi
}
status() {  # name expected-status command...
  local name=$1 want=$2; shift 2
  "$@" >/dev/null 2>"$tmp/err"; local got=$?
  check "$name (status)" "$want" "$got"
}
# Runs the tool on stdin given as printf format; prints its stdout.
run() { local input=$1; shift; printf "$input" | "$tool" "$@"; }
roundtrip() {  # name forward-args -- backward-args
  local name=$1; shift
  local fwd=() back=()
  while [ "$1" != "--" ]; do fwd+=("$1"); shift; done; shift
  back=("$@")
  head -c 3000 /dev/urandom | base64 > "$tmp/rt.in"
  "$tool" "${fwd[@]}" < "$tmp/rt.in" | "$tool" "${back[@]}" > "$tmp/rt.out"
  check "round trip $name" "$(od -An -tx1 "$tmp/rt.in" | md5sum)" "$(od -An -tx1 "$tmp/rt.out" | md5sum)"
}

check "json-escape" '{"a\"b\\c\n\u0001"}' "{\"$(run 'a"b\\c\n\001' json-escape)\"}"
check "json-decode" 'é"x' "$(run '\\u00e9\\"x' json-decode)"
check "xml-escape" '&lt;a href=&quot;x&quot;&gt;&amp;&apos;' "$(run '<a href="x">&'"'" xml-escape)"
check "xml-escape --text-only" '&lt;"&amp;' "$(run '<"&' xml-escape --text-only)"
check "xml-decode" '<a>&"'"'" "$(run '&lt;a&gt;&amp;&quot;&apos;' xml-decode)"
check "canonicalize aws-uri" '/a%20b/%C3%A9' "$(run '/a b/é' canonicalize --form aws-uri)"
check "canonicalize aws-query-part" '%2Fa%3D' "$(run '/a=' canonicalize --form aws-query-part)"
check "canonicalize aws-query-part --keep-slash" '/a%3D' "$(run '/a=' canonicalize --form aws-query-part --keep-slash)"
check "canonicalize aws-query" 'x=1&y=a%20b' "$(run 'x=1&y=a b' canonicalize --form aws-query)"
check "canonicalize aws-uri always" 'a%2541' "$(run 'a%%41' canonicalize --form aws-uri --always-encode-percent)"
check "canonicalize path" 'k=v%26x' "$(run 'k=v&x' canonicalize --form path)"
check "canonicalize mws" 'a%20b%2541' "$(run 'a b%%41' canonicalize --form mws)"
check "canonicalize query-value" 'a+b?%2A' "$(run 'a b?*' canonicalize --form query-value)"
check "canonicalize query" 'a+b&c' "$(run 'a b&c' canonicalize --form query)"
check "convert 1252 to 65001" 'café' "$(run 'caf\351' convert --from 1252 --to 65001)"
check "convert 65001 to 1252" '636166e9' "$(run 'caf\303\251' convert --from 65001 --to 1252 | od -An -tx1 | tr -d ' \n')"
status "convert unmappable" 1 sh -c "printf '\342\202\254x' | '$tool' convert --from 65001 --to 28591"
check "decode-words" 'Café ok' "$(run '=?utf-8?q?Caf=C3=A9?= ok' decode-words)"
check "decode-words base64" 'héllo' "$(run '=?UTF-8?B?aMOpbGxv?=' decode-words)"
check "field-get" $'b,c\ny' "$(run 'a,"b,c",d\r\nx,y\r\n' field-get --index 1 --quotes)"
check "field-get tab" $'2' "$(run '1\t2\n' field-get --index 1 --delim tab)"
check "field-set" $'a,z,c' "$(run 'a,b,c\n' field-set --index 1 --value z)"
check "field-count" $'4\n1' "$(run 'a,"b,c",d,e\nx\n' field-count --quotes)"
check "change-delim" 'a,"b,c",d' "$(run 'a;b,c;d\n' change-delim --from ';' --to , --quotes)"
check "lines" $'a\nb\n\nc' "$(run 'a\r\nb\n\nc' lines)"
check "lines --number" $'1\ta\n2\tb' "$(run 'a\nb' lines --number)"
check "crlf" '610d0a620d0a' "$(run 'a\nb\r' crlf | od -An -tx1 | tr -d ' \n')"
check "lf" '610a620d' "$(run 'a\r\nb\r' lf | od -An -tx1 | tr -d ' \n')"
check "pluralize" $'boxes\ncities\ndays' "$(run 'box\ncity\nday\n' pluralize)"
check "singularize" $'box\ncity\nalways' "$(run 'boxes\ncities\nalways\n' singularize)"
check "obfuscate hides" 0 "$(run 'secret-password' obfuscate | grep -c secret-password)"
check "redact" $'Authorization: Bearer ****\r\nX: y\r' "$(run 'Authorization: Bearer abc\r\nX: y\r\n' redact)"
check "hex --compact" '0001FF' "$(run '\000\001\377' hex --compact)"
check "hex dump has the bytes" 1 "$(run 'ABC' hex | grep -c '4142 43')"
check "hex --decode" 'AB' "$(run '4142' hex --decode)"
check "base64" 'aGk=' "$(run 'hi' base64)"
check "base64 --decode" 'hi' "$(run 'aGk=' base64 --decode)"
check "validate-utf8 valid" 'valid' "$(run 'caf\303\251' validate-utf8)"
status "validate-utf8 invalid" 1 sh -c "printf '\300\200' | '$tool' validate-utf8"
status "validate-utf8 empty" 0 sh -c "'$tool' validate-utf8 < /dev/null"

roundtrip "json" json-escape -- json-decode
roundtrip "xml" xml-escape -- xml-decode
roundtrip "obfuscate" obfuscate -- restore
roundtrip "base64" base64 -- base64 --decode
roundtrip "hex" hex --compact -- hex --decode
roundtrip "code pages" convert --from 65001 --to 1200 -- convert --from 1200 --to 65001
roundtrip "line endings" crlf -- lf

status "no operation" 2 "$tool"
status "unknown operation" 2 "$tool" frobnicate
status "unknown option" 2 "$tool" json-escape --bogus
status "missing value" 2 "$tool" field-get --index
status "bad number" 2 "$tool" field-get --index x
status "missing --form" 2 "$tool" canonicalize
status "bad --form" 2 sh -c "echo x | '$tool' canonicalize --form nope"
status "two-byte delimiter" 2 "$tool" field-get --index 0 --delim ab
status "unreadable input" 2 "$tool" json-escape --in "$tmp/does-not-exist"
status "directory as input" 2 "$tool" json-escape --in "$tmp"
check "one line on stderr" 1 "$("$tool" frobnicate 2>&1 >/dev/null | wc -l | tr -d ' ')"
status "--help" 0 "$tool" --help
for op in $("$tool" --help | awk '/^  [a-z]/ {print $1}'); do
  status "$op --help" 0 "$tool" "$op" --help
  case $op in  # the least each operation needs
    canonicalize) args=(--form path) ;; convert) args=(--from 1252 --to 65001) ;;
    field-get) args=(--index 0) ;; field-set) args=(--index 0 --value x) ;;
    change-delim) args=(--from ';' --to ,) ;; *) args=() ;;
  esac
  want=""; [ "$op" = validate-utf8 ] && want=valid
  check "$op empty input" "$want" "$("$tool" "$op" "${args[@]}" < /dev/null 2>&1)"
done

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
