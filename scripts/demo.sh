#!/usr/bin/env bash
# ./dev demo [windows]: the main job. Makes a sample installation under build/demo, runs the agent on
# it, changes what it watches, and shows the event lines as they come, each behind what was done.
# Lists are polled every ten seconds at best, so changes are made in groups; the whole takes three
# to four minutes. Fails if a change was not reported.
#
# ./dev demo tool [windows]: see demo-tool.sh.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
if [ "${1:-}" = tool ]; then
    shift
    exec "$project/scripts/demo-tool.sh" "$@"
fi
platform=${1:-native}

case $platform in
    native)
        build native Lathwind LathwindAgent
        agent=("$project/build/native/bin/LathwindAgent")
        tool=("$project/build/native/bin/Lathwind")
        stop_signal=TERM
        product_path() { echo "C:${1//\//\\}"; }  # drive C: is the root of this system
        agent_process() { echo "$agent_id"; }
        ;;
    windows)
        source "$project/scripts/wine-lib.sh"
        setup_wine
        preset=$(windows_preset)
        build "$preset" Lathwind LathwindAgent
        agent=("$project/dev" wine "$project/build/$preset/bin/LathwindAgent.exe")
        tool=("$project/dev" wine "$project/build/$preset/bin/Lathwind.exe")
        stop_signal=INT  # Wine makes it a Ctrl+C
        product_path() { echo "Z:${1//\//\\}"; }  # as Wine has it
        # What was started is Wine's starter; the program is a process that it does not name.
        agent_process() {
            local process words
            for process in /proc/[0-9]*; do
                words=$(tr '\0' ' ' 2>/dev/null <"$process/cmdline") || continue
                case $words in
                    start.exe*) ;;
                    *"LathwindAgent.exe -p $root "*) echo "${process#/proc/}" ;;
                esac
            done
        }
        ;;
    *) die "usage: ./dev demo [tool] [windows]" ;;
esac

sample=$project/build/demo/$platform
install=$sample/install
data=$sample/data
rm -rf "$sample"
mkdir -p "$install"/IDS/{bin,system,log} "$install/rvmklog" \
    "$data"/{etc,conf/deep,programs/lib,archive,logs,sites/{shop,blog}/web}
root=$(product_path "$install")
watched=$(product_path "$data")
events=$install/IDS/log/QVRIDSEvents.csv
console=$sample/console.txt
touch "$console"

# ---- What is there before the agent starts.
echo '127.0.0.1 localhost' >"$data/etc/hosts"
printf '[Server]\nPort=80\n[Log]\nLevel=1\n' >"$data/conf/server.ini"
printf '[Server]\nPort=81\n' >"$data/conf/deep/second.ini"
echo 'listen 80' >"$data/sites/shop/web/site.conf"
echo 'listen 81' >"$data/sites/blog/web/site.conf"
echo 'a program' >"$data/programs/tool"
echo 'a library' >"$data/programs/lib/core"
echo 'of last year' >"$data/archive/old.txt"
echo 'started' | tee "$data/logs/app.log" >"$data/logs/login.log"

cat >"$install/IDS/system/filewatch.ini" <<INI
[FileWatch]
NumLists=3

[FileWatch List - High Protection]
ListLabel=High
MaxFileNumber=4
File0001=$watched\\etc\\hosts|0|1|0
File0002=$watched\\conf\\*.ini|2|1|0
File0003=$watched\\sites\\{VIRTUAL_TAG}\\web\\*.conf|1|0|0
File0004=not\\absolute.txt

[FileWatch List - Normal Protection]
ListLabel=Normal
MaxFileNumber=1
File0001=$watched\\archive\\*.txt|1|0|0

[FileWatch List0003]
ListLabel=Programs
PollInterval=10
MaxFileNumber=1
File0001=$watched\\programs\\*|2|1|0

[FileWatch - FileDiff]
MaxFileDiffNumber=1
FileDiff0001=Settings
[Settings]
Filter=*.ini
Type=ini
INI
cat >"$install/IDS/system/logwatch.ini" <<INI
[Log Files]
Files=2
[File1]
FileName=$watched\\logs\\app.log
Delimiter=\\n
StringsToParse=1
S1=denied
[File2]
FileName=$watched\\logs\\login.log
Delimiter=\\n
StringsToParse=1
S1=login of {USER_NAME} failed
INI
cat >"$install/IDS/system/agent.ini" <<INI
[File Collector]
short poll interval=10
long poll interval=1
INI

# ---- Showing events as they come.
# descriptions[TEXT|ACTION]: what was done, for the event that holds both; reported[...] once shown.
declare -A descriptions=() reported=()
shown_events=0 shown_console=0

# did TEXT ACTION WHAT: a change was made that an event with these two will tell of.
did() { descriptions["$1|$2"]=$3; }

whole_lines() { [ -e "$1" ] && wc -l <"$1" || echo 0; }

# new_lines FILE SHOWN: prints the whole lines behind the first SHOWN ones.
new_lines() { head -n "$(whole_lines "$1")" "$1" 2>/dev/null | tail -n "+$(($2 + 1))"; }

# show_event RECORD: one record, which may have several lines.
show_event() {
    local record=$1 key
    [ -n "$record" ] || return 0
    for key in "${!descriptions[@]}"; do
        if [[ ${record,,} == *"${key%|*}"* && $record == *"${key#*|}"* ]]; then
            printf '# %s\n' "${descriptions[$key]}"
            reported[$key]=1
            break
        fi
    done
    printf '%s' "$record" | grep -v '^ *$' | cut -c1-240 | sed 's/^/  /'
}

show_new() {
    local line record=''
    while IFS= read -r line; do
        shown_console=$((shown_console + 1))
        printf '> %s\n' "${line%$'\r'}"
    done < <(new_lines "$console" $shown_console)
    while IFS= read -r line; do
        shown_events=$((shown_events + 1))
        line=${line%$'\r'}
        if [[ $line =~ ^[A-Z]{4},[0-9]+, ]]; then
            show_event "$record"
            record=
        fi
        record+=$line$'\n'
    done < <(new_lines "$events" $shown_events)
    show_event "$record"
}

all_reported() {
    local key
    for key in "${!descriptions[@]}"; do
        [ -n "${reported[$key]:-}" ] || return 1
    done
}

# follow SECONDS: until everything that was done has been reported, at most so long.
follow() {
    local end=$((SECONDS + $1)) key
    until all_reported || [ $SECONDS -ge $end ]; do
        show_new
        sleep 0.5
    done
    sleep 1
    show_new
    for key in "${!descriptions[@]}"; do
        if [ -z "${reported[$key]:-}" ]; then
            echo "MISSING: ${descriptions[$key]}"
            failed=1
        fi
    done
    descriptions=() reported=()
}

# await TEXT SECONDS: until a new line of the console has it.
await() {
    local end=$((SECONDS + $2)) from=$shown_console
    until tail -n "+$((from + 1))" "$console" | grep -q "$1"; do
        if [ $SECONDS -ge $end ] || ! kill -0 "$agent_id" 2>/dev/null; then
            show_new
            die "the agent did not say \"$1\""
        fi
        show_new
        sleep 0.5
    done
    show_new
}

failed=0 agent_id=

start_agent() {
    printf '$ LathwindAgent -p %s\n' "$root"
    "${agent[@]}" -p "$root" >>"$console" 2>>"$sample/errors.txt" &
    agent_id=$!
    await 'Configuration final' 120
}

stop_agent() {
    local status=0
    kill -s "$stop_signal" "$(agent_process)"
    wait "$agent_id" || status=$?
    agent_id=
    show_new
    echo "exit code $status"
    [ $status -eq 0 ] || failed=1
}

# An agent of this script does not outlive it.
trap '[ -z "$agent_id" ] || kill -s "$stop_signal" "$(agent_process)" 2>/dev/null || true' EXIT

run_agent() {
    local status=0
    printf '$ LathwindAgent -p %s %s\n' "$root" "$*"
    "${agent[@]}" -p "$root" "$@" 2>>"$sample/errors.txt" || status=$?
    echo "exit code $status"
}

say "Check the lists: one entry is wrong on purpose"
run_agent --check

say "Start the agent"
start_agent

say "A second agent on the same root"
run_agent

say "Edit, add, delete and rename files; let logs grow; wait for the polls"
echo '10.0.0.1 gate' >>"$data/etc/hosts"
did 'etc\hosts' 'Modified File' "edited etc/hosts, which has a checksum"
printf '[Server]\nPort=8080\n[Log]\nLevel=1\n' >"$data/conf/server.ini"
did 'conf\server.ini' 'Modified File' "edited conf/server.ini, which has a diff of its keys"
printf '[Third]\nNew=1\n' >"$data/conf/deep/third.ini"
did 'deep\third.ini' 'Added File' "added conf/deep/third.ini, two folders down"
rm "$data/conf/deep/second.ini"
did 'deep\second.ini' 'Deleted File' "deleted conf/deep/second.ini"
echo 'listen 8080' >"$data/sites/shop/web/site.conf"
did 'shop\web\site.conf' 'Modified File' "edited the file of an instance of the virtual entry: sites/shop"
mv "$data/programs/tool" "$data/programs/renamed"
did 'programs\tool' 'Deleted File' "renamed programs/tool: it is gone under its old name..."
did 'programs\renamed' 'Added File' "...and there under the new one: programs/renamed"
printf 'started again\naccess denied to /x\n' >>"$data/logs/app.log"
did 'access denied' 'Logfile event' "two lines came to logs/app.log; one of them holds what is looked for"
printf 'login of alice succeeded\nlogin of mallory failed\n' >>"$data/logs/login.log"
did 'mallory' 'Logfile event' "two lines came to logs/login.log; one of them matches the pattern"
echo 'corrected' >>"$data/archive/old.txt"
did 'archive\old.txt' 'Modified File' "edited archive/old.txt, whose list is polled once a minute"
follow 90

say "Add a list while the agent runs"
printf '[FileWatch]\nNumLists=1\n[FileWatch List0001]\nListLabel=Custom\nPollInterval=10\nMaxFileNumber=1\nFile0001=%s\n' \
    "$watched\\custom.txt|1|1|0" >"$install/IDS/system/custfilewatch.ini"
await 'Configuration final' 60
echo 'first text' >"$data/custom.txt"
did 'custom.txt' 'Added File' "made custom.txt, which the new list names"
follow 40

say "Stop the agent"
stop_agent

say "While nobody watches: edit, delete, add; let a log grow"
echo '10.0.0.2 door' >>"$data/etc/hosts"
did 'etc\hosts' 'Modified File' "edited etc/hosts while the agent was down"
rm "$data/programs/lib/core"
did 'lib\core' 'Deleted File' "deleted programs/lib/core while the agent was down"
printf '[Fourth]\nNew=1\n' >"$data/conf/fourth.ini"
did 'conf\fourth.ini' 'Added File' "added conf/fourth.ini while the agent was down"
echo 'again denied' >>"$data/logs/app.log"
did 'again denied' 'Logfile event' "a line came to logs/app.log while the agent was down"
start_agent
follow 60
stop_agent

say "The last statistics report"
tac "$install/IDS/log/statistics/agent.log" | awk '/^====/ && ++rulers == 2 { print; exit } { print }' | tac

say "What the agent remembers"
printf '$ Lathwind -p %s -l %s -v\n' "$root" "$root\\rvmklog\\QVRIPSService.log"
"${tool[@]}" -p "$root" -l "$root\\rvmklog\\QVRIPSService.log" -v 2>>"$sample/errors.txt" ||
    failed=1

say "$([ $failed -eq 0 ] && echo "Every change was reported" || echo "SOMETHING WAS NOT REPORTED")"
exit $failed
