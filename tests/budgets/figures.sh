# Budgets: what is measured, against what was recorded. Sourced by the scripts beside it.
#
# A file of figures has lines "NAME RECORDED [LIMIT]". A figure may grow by 5 % over what was recorded, so that
# growth is seen and decided upon; it may never pass the limit. A recorded 0 stays 0.
slack_percent=5
over_budget=0

# figure FILE NAME MEASURED UNIT: prints the figure beside its budget, and notes when it is over.
figure() {
    line=$(awk -v name="$2" '$1 == name { print $2, $3 }' "$1")
    if [ -z "$line" ]; then
        printf 'figure: %-36s %9s %s: nothing is recorded for it in %s\n' "$2" "$3" "$4" "$1"
        over_budget=1
        return
    fi
    recorded=${line%% *} limit=${line#* }
    allowed=$(awk -v r="$recorded" -v s="$slack_percent" -v l="${limit:-}" \
        'BEGIN { a = r * (100 + s) / 100; if (l != "" && a > l + 0) a = l; printf "%g", a }')
    verdict=$(awk -v m="$3" -v a="$allowed" 'BEGIN { print (m + 0 > a + 0) ? "OVER" : "" }')
    printf 'figure: %-36s %9s %s (recorded %s, at most %s) %s\n' "$2" "$3" "$4" "$recorded" "$allowed" "$verdict"
    [ -z "$verdict" ] || over_budget=1
}
