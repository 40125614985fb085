# Functions for cases about the bytes of native files, which are the same on every machine. A case
# reads this file in; the files come from docs/ and from the corpus of the fuzz harnesses.
root=$(cd "$(dirname "$0")/../../.." && pwd)

# put_bytes HEX...: bytes on the standard output.
put_bytes() {
    printf "$(printf '\\%03o' $(printf ' 0x%s' "$@"))"
}

# example_file FILE: makes the whole file of docs/vor-format.md.
example_file() {
    put_bytes $(sed -n '/^```hex whole-file$/,/^```$/s/^[0-9A-F]\{4\}  \([^|]*\).*/\1/p' \
        "$root/docs/vor-format.md") >"$1"
}

# corpus_file NAME: copies a file of the corpus to NAME.vor.
corpus_file() {
    cp "$root/fuzz/corpus/fuzz_open_read/$1" "$1.vor"
}

# change_bytes FILE OFFSET HEX...: puts bytes in the place of others.
change_bytes() {
    changed_file=$1
    changed_at=$(($2))
    shift 2
    put_bytes "$@" | dd of="$changed_file" bs=1 seek="$changed_at" conv=notrunc 2>/dev/null
}
