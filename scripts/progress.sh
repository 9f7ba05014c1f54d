# To be sourced. How far something is, in one line.

# progress WHAT: of what ninja says on the input, how many steps are done. Where nobody looks, only the beginning and the end.
progress() {
    local what=$1 line steps= began=$SECONDS
    [ -t 1 ] && printf -- '--- %s' "$what" || printf -- '--- %s\n' "$what"
    while IFS= read -r line; do
        [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]] || continue
        steps=${BASH_REMATCH[2]}
        [ -t 1 ] && printf '\r\033[K--- %s: %s of %s, %s s' "$what" "${BASH_REMATCH[1]}" "$steps" "$((SECONDS - began))"
    done
    [ -t 1 ] && printf '\r\033[K--- %s: done in %s s\n' "$what" "$((SECONDS - began))"
    return 0
}

# apt_progress: of what apt says with APT::Status-Fd=1 (sudo closes all above 2), the percents.
apt_progress() {
    local kind percent
    while IFS=: read -r kind _ percent _; do
        case $kind in
            dlstatus) kind=downloading ;;
            pmstatus) kind=installing ;;
            *) continue ;;
        esac
        [ -t 1 ] && printf '\r\033[K    %s: %s %%' "$kind" "${percent%%.*}"
    done
    [ -t 1 ] && printf '\r\033[K'
    return 0
}
