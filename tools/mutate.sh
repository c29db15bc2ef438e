#!/usr/bin/env bash
# Mutation testing: how many plausible faults do the unit tests find?
#
# Each mutant of tools/mutations.txt is applied, alone, to a scratch copy of
# this tree; the subsystem's test binary is rebuilt there and run. A failing
# (or hanging, or crashing) run kills the mutant; a passing one lets it
# survive. The checkout the script runs from is never modified.
#
#   tools/mutate.sh [options]                run the mutants (all, or --only)
#   tools/mutate.sh --check [options]        apply and compile each, run nothing
#   tools/mutate.sh --dry [options]          only see that each applies (no build)
#   tools/mutate.sh --compare OLD.tsv NEW.tsv
#                                            mutants killed in OLD but not in NEW
# Options:
#   --only SEL...     mutant ids or subsystems (frame, file, ...); a trailing *
#                     matches a prefix (file-0*). Ends at the next --option.
#   --list FILE       mutation list (default tools/mutations.txt)
#   --work DIR        scratch folder: DIR/tree (copy), DIR/build, DIR/logs
#                     (default ${TMPDIR:-/tmp}/tevrol-mutate)
#   --out FILE        result TSV (default DIR/results.tsv)
#   --timeout SEC     limit for one test run; a run past it counts as killed
#                     (default 300)
#   --build-jobs N    parallel compile jobs (default 1)
#   --no-baseline     do not run the unmutated test binaries first
#
# Result TSV columns: id, subsystem, result, seconds, killing tests
# (comma-separated; "timeout" or "crash:<test>" where no test reported a
# failure). Results: killed, survived, nocompile, noapply, baseline-failed.
# nocompile and noapply are faults of the list, counted apart from the score.
#
# Cost, measured on this project's 2-core machine while other builds ran, -j1,
# RelWithDebInfo: a mutant takes 2 s to 60 s, about 15 s on average, once the
# scratch build is warm (rebuilding the mutated and then the restored file,
# linking, running the binary; file_tests and timer_tests run longest, and a
# mutant in a frame/containers header recompiles much of the library). The
# first run in a new scratch folder first builds every test target it needs
# (about 12 minutes for all ten). So the 179 mutants of the list take about
# 45 minutes (179 x 15 s), plus that first build. --check compiles one object
# a mutant, about 3 s: the whole list took 491 s.
set -u -o pipefail

die() { echo "mutate.sh: $*" >&2; exit 2; }

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
LIST="$ROOT/tools/mutations.txt"
WORK="${TMPDIR:-/tmp}/tevrol-mutate"
OUT=""
TIMEOUT=300
JOBS=1
MODE=run
BASELINE=1
ONLY=()

# ---- compare mode ----
compare() {
  local old=$1 new=$2
  [[ -r $old && -r $new ]] || die "--compare needs two readable result files"
  awk -F'\t' '
    FNR == 1 && /^id\t/ { next }
    NR == FNR { oldres[$1] = $3; oldby[$1] = $5; oldsub[$1] = $2; next }
    { newres[$1] = $3 }
    END {
      lost = 0
      for (id in oldres) {
        if (oldres[id] != "killed") continue
        if (!(id in newres)) { printf "%-14s %-9s killed before, not run now (by %s)\n", id, oldsub[id], oldby[id]; lost++; continue }
        if (newres[id] != "killed") { printf "%-14s %-9s killed before, %s now (was killed by %s)\n", id, oldsub[id], newres[id], oldby[id]; lost++ }
      }
      gained = 0
      for (id in newres) if (newres[id] == "killed" && (id in oldres) && oldres[id] != "killed") gained++
      printf "%d mutant(s) no longer killed; %d newly killed\n", lost, gained
      exit lost > 0 ? 1 : 0
    }' "$old" "$new"
}

while [[ $# -gt 0 ]]; do
  case $1 in
    --compare) [[ $# -ge 3 ]] || die "--compare OLD.tsv NEW.tsv"; compare "$2" "$3"; exit $? ;;
    --check) MODE=check; shift ;;
    --dry) MODE=dry; shift ;;
    --list) LIST=$2; shift 2 ;;
    --work) WORK=$2; shift 2 ;;
    --out) OUT=$2; shift 2 ;;
    --timeout) TIMEOUT=$2; shift 2 ;;
    --build-jobs) JOBS=$2; shift 2 ;;
    --no-baseline) BASELINE=0; shift ;;
    --only) shift; while [[ $# -gt 0 && $1 != --* ]]; do ONLY+=("$1"); shift; done ;;
    -h|--help) sed -n '2,/^set -u/p' "$0" | sed '$d; s/^# \{0,1\}//'; exit 0 ;;
    *) die "unknown argument: $1 (see --help)" ;;
  esac
done

[[ -r $LIST ]] || die "no mutation list at $LIST"
mkdir -p "$WORK" || die "cannot make $WORK"
WORK=$(cd "$WORK" && pwd)
case "$WORK/" in "$ROOT/"*) die "the scratch folder must lie outside the checkout ($ROOT)" ;; esac
COPY="$WORK/tree"
BUILD="$WORK/build"
LOGS="$WORK/logs"
[[ -n $OUT ]] || OUT="$WORK/results.tsv"
mkdir -p "$COPY" "$LOGS" "$WORK/orig"

# ---- parse the list into parallel arrays ----
M_ID=() M_SUB=() M_FILE=() M_TGT=() M_FIRST=() M_COUNT=()
E_MINUS=() E_PLUS=()
parse_list() {
  local line n=0 lineno=0 pending_minus="" have_minus=0
  while IFS= read -r line || [[ -n $line ]]; do
    lineno=$((lineno + 1))
    case $line in
      '@ '*)
        ((have_minus)) && die "$LIST:$lineno: '-' line without '+' line"
        local id sub file tgt extra
        read -r id sub file tgt extra <<<"${line#@ }"
        [[ -n $tgt && -z $extra ]] || die "$LIST:$lineno: expected '@ id subsystem file target'"
        M_ID[n]=$id M_SUB[n]=$sub M_FILE[n]=$file M_TGT[n]=$tgt
        M_FIRST[n]=${#E_MINUS[@]} M_COUNT[n]=0
        n=$((n + 1)) ;;
      '- '*|'-')
        ((n > 0)) || die "$LIST:$lineno: '-' line before any '@' line"
        ((have_minus)) && die "$LIST:$lineno: two '-' lines in a row"
        pending_minus=${line#-}; pending_minus=${pending_minus# }
        [[ -n ${pending_minus//[[:space:]]/} ]] || die "$LIST:$lineno: empty '-' text"
        have_minus=1 ;;
      '+ '*|'+')
        ((have_minus)) || die "$LIST:$lineno: '+' line without '-' line"
        local plus=${line#+}; plus=${plus# }
        [[ $plus != "$pending_minus" ]] || die "$LIST:$lineno: replacement equals the text"
        E_MINUS+=("$pending_minus"); E_PLUS+=("$plus")
        M_COUNT[n-1]=$((M_COUNT[n-1] + 1)); have_minus=0 ;;
      ''|'#'*) ;;
      *) die "$LIST:$lineno: unexpected line: $line" ;;
    esac
  done <"$LIST"
  ((have_minus)) && die "$LIST: last '-' line without '+' line"
  local i
  for i in "${!M_ID[@]}"; do
    ((M_COUNT[i] > 0)) || die "$LIST: mutant ${M_ID[i]} has no edit"
  done
  local dup
  dup=$(printf '%s\n' "${M_ID[@]}" | sort | uniq -d | head -1)
  [[ -z $dup ]] || die "$LIST: mutant id $dup used twice"
}
parse_list

selected() {  # $1 index
  ((${#ONLY[@]} == 0)) && return 0
  local sel
  for sel in "${ONLY[@]}"; do
    # shellcheck disable=SC2053  # a trailing * is a pattern on purpose
    [[ ${M_ID[$1]} == $sel || ${M_SUB[$1]} == "$sel" ]] && return 0
  done
  return 1
}

SEL=()
for i in "${!M_ID[@]}"; do selected "$i" && SEL+=("$i"); done
((${#SEL[@]} > 0)) || die "no mutant matches --only ${ONLY[*]}"

# ---- the scratch copy: the checkout's files (committed or not), changed ones copied ----
sync_copy() {
  local f stamp="$WORK/synced" full=1
  # Files older than the last sync are compared only on the first one.
  [[ -f $stamp ]] && full=0
  touch "$stamp.new"
  (cd "$ROOT" && git ls-files -z --cached --others --exclude-standard) |
    while IFS= read -r -d '' f; do
      [[ -f $ROOT/$f ]] || continue
      ((full)) || [[ ! -e $COPY/$f || $ROOT/$f -nt $stamp ]] || continue
      if ! cmp -s "$ROOT/$f" "$COPY/$f"; then
        mkdir -p "$(dirname "$COPY/$f")"
        cp "$ROOT/$f" "$COPY/$f"   # a fresh time stamp, so the build sees it
      fi
    done
  mv "$stamp.new" "$stamp"
}

# A mutant left behind by an interrupted run is undone first.
restore_all() {
  local saved rel
  for saved in "$WORK"/orig/*; do
    [[ -f $saved ]] || continue
    rel=$(basename "$saved" | sed 's/%/\//g')
    cp "$saved" "$COPY/$rel" && touch "$COPY/$rel" && rm -f "$saved"
  done
}
restore_all
echo "syncing $COPY from $ROOT"
sync_copy


# ---- applying and undoing one mutant ----
backup_name() { echo "$WORK/orig/${1//\//%}"; }

apply_mutant() {  # $1 index [$2 dry: a throw-away copy]; prints why it does not apply
  local i=$1 file="$COPY/${M_FILE[$1]}" k
  [[ -f $file ]] || { echo "no file ${M_FILE[i]}"; return 1; }
  if [[ -n ${2:-} ]]; then
    cp "$file" "$WORK/dry" && file="$WORK/dry"
  else
    cp -p "$file" "$(backup_name "${M_FILE[i]}")"
  fi
  local -a env=()
  for ((k = 0; k < M_COUNT[i]; k++)); do
    env+=("MUT_MINUS_$k=${E_MINUS[M_FIRST[i] + k]}" "MUT_PLUS_$k=${E_PLUS[M_FIRST[i] + k]}")
  done
  # shellcheck disable=SC2016  # perl code, not shell
  env "${env[@]}" perl -e '
    my ($file, $n) = @ARGV;
    open(my $in, "<", $file) or die "cannot read $file\n";
    local $/; my $s = <$in>; close $in;
    for my $k (0 .. $n - 1) {
      my ($m, $p) = ($ENV{"MUT_MINUS_$k"}, $ENV{"MUT_PLUS_$k"});
      my ($count, $at, $pos) = (0, -1, 0);
      while ((my $hit = index($s, $m, $pos)) >= 0) { $count++; $at = $hit if $at < 0; $pos = $hit + 1; }
      if ($count != 1) { print "edit ", $k + 1, ": text found $count times\n"; exit 1; }
      substr($s, $at, length $m) = $p;
    }
    open(my $out, ">", $file) or die "cannot write $file\n";
    print $out $s; close $out;' "$file" "${M_COUNT[i]}"
}

undo_mutant() {  # $1 index
  local saved
  saved=$(backup_name "${M_FILE[$1]}")
  [[ -f $saved ]] || return 0
  cp "$saved" "$COPY/${M_FILE[$1]}" && touch "$COPY/${M_FILE[$1]}" && rm -f "$saved"
}
trap 'restore_all; exit 130' INT TERM

# Every selected mutant must apply (its text found exactly once) before any build.
NOAPPLY=()
for i in "${SEL[@]}"; do
  if ! why=$(apply_mutant "$i" dry); then
    NOAPPLY+=("$i")
    printf '%-14s does not apply to %s: %s\n' "${M_ID[i]}" "${M_FILE[i]}" "$why" >&2
  fi
done
rm -f "$WORK/dry"
echo "${#SEL[@]} mutant(s) selected, ${#NOAPPLY[@]} do not apply"
if [[ $MODE == dry ]]; then exit $((${#NOAPPLY[@]} > 0 ? 1 : 0)); fi

if [[ ! -f $BUILD/build.ninja ]]; then
  echo "configuring $BUILD"
  cmake -S "$COPY" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DTEVROL_BUILD_BENCH=OFF -DTEVROL_BUILD_EXAMPLES=OFF -DTEVROL_BUILD_TOOLS=ON \
    -DTEVROL_WERROR=ON >"$LOGS/configure.log" 2>&1 || die "configure failed: $LOGS/configure.log"
fi

# The object files compiled from a source file (a header: none, the test target then).
OBJECTS=""
objects_of() {
  [[ -n $OBJECTS ]] || OBJECTS=$(ninja -C "$BUILD" -t targets all 2>/dev/null | sed -n 's/^\(.*\.o\): .*/\1/p')
  local base
  base=$(basename "$1")
  grep -F "/$base.o" <<<"$OBJECTS" | grep -E "/${base//./\\.}\.o$" || true
}

build_target() {  # $1 target, $2 log
  cmake --build "$BUILD" --target "$1" -j "$JOBS" >"$2" 2>&1
}

binary_of() { echo "$BUILD/tests/${1%_tests}/$1"; }

# Runs a test binary; sets RUN_RC and RUN_TESTS (the failed tests).
run_tests() {  # $1 target, $2 log
  local bin
  bin=$(binary_of "$1")
  # In a subshell: a crash is reported in the log, not on the terminal.
  (timeout -k 10 "$TIMEOUT" "$bin" >"$2" 2>&1; exit $?) 2>/dev/null
  RUN_RC=$?
  RUN_TESTS=$(sed -n 's/^\[  FAILED  \] \([^ ]*\).*/\1/p' "$2" | sed "s/,\$//" | grep -v "^[0-9]" | sort -u | paste -sd, -)
  if [[ $RUN_RC -ne 0 && -z $RUN_TESTS ]]; then
    # No failure reported: a crash or a hang inside the last test started.
    local last
    last=$(awk '/^\[ RUN      \]/ { t = $4 } /^\[       OK \]/ { t = "" } END { print t }' "$2")
    if [[ $RUN_RC -eq 124 || $RUN_RC -eq 137 ]]; then
      RUN_TESTS="timeout${last:+:$last}"
    else
      RUN_TESTS="crash${last:+:$last}(rc=$RUN_RC)"
    fi
  fi
}

# ---- check mode: apply and compile only ----
if [[ $MODE == check ]]; then
  bad=0
  n=0
  start_all=$(date +%s)
  for i in "${SEL[@]}"; do
    n=$((n + 1))
    id=${M_ID[i]}
    log="$LOGS/$id.check.log"
    if ! why=$(apply_mutant "$i"); then
      undo_mutant "$i"
      printf '[%d/%d] %-14s NOAPPLY %s\n' "$n" "${#SEL[@]}" "$id" "$why"
      bad=$((bad + 1)); continue
    fi
    objs=$(objects_of "${M_FILE[i]}")
    if [[ -n $objs ]]; then
      # shellcheck disable=SC2086  # one object per word
      ninja -C "$BUILD" -j "$JOBS" $objs >"$log" 2>&1
    else
      build_target "${M_TGT[i]}" "$log"
    fi
    rc=$?
    undo_mutant "$i"
    if [[ $rc -ne 0 ]]; then
      printf '[%d/%d] %-14s NOCOMPILE see %s\n' "$n" "${#SEL[@]}" "$id" "$log"
      bad=$((bad + 1))
    else
      printf '[%d/%d] %-14s ok\n' "$n" "${#SEL[@]}" "$id"
    fi
  done
  echo "$n mutant(s) checked in $(( $(date +%s) - start_all )) s, $bad bad"
  exit $((bad > 0 ? 1 : 0))
fi

# ---- run mode ----
declare -A BASE_OK=()
baseline() {  # $1 target
  [[ -n ${BASE_OK[$1]:-} ]] && return "${BASE_OK[$1]}"
  local log="$LOGS/baseline.$1.log"
  BASE_OK[$1]=0
  if ! build_target "$1" "$log"; then
    echo "baseline: $1 does not build unmutated, see $log" >&2
    BASE_OK[$1]=1
  elif ((BASELINE)); then
    local t0=$SECONDS
    run_tests "$1" "$log.run"
    if [[ $RUN_RC -ne 0 ]]; then
      echo "baseline: $1 fails unmutated ($RUN_TESTS), its mutants are not judged" >&2
      BASE_OK[$1]=1
    else
      echo "baseline: $1 passes in $((SECONDS - t0)) s"
    fi
  fi
  return "${BASE_OK[$1]}"
}

printf 'id\tsubsystem\tresult\tseconds\tkilling_tests\n' >"$OUT"
n=0
start_all=$SECONDS
for i in "${SEL[@]}"; do
  n=$((n + 1))
  id=${M_ID[i]} tgt=${M_TGT[i]}
  log="$LOGS/$id.log"
  tests=""
  baseline "$tgt"; base=$?
  t0=$SECONDS
  if ((base != 0)); then
    result=baseline-failed
  elif ! why=$(apply_mutant "$i"); then
    result=noapply tests=$why
  elif ! build_target "$tgt" "$log.build"; then
    result=nocompile tests="see $log.build"
  else
    run_tests "$tgt" "$log"
    if [[ $RUN_RC -eq 0 ]]; then result=survived; else result=killed tests=$RUN_TESTS; fi
  fi
  undo_mutant "$i"
  secs=$((SECONDS - t0))
  printf '%s\t%s\t%s\t%s\t%s\n' "$id" "${M_SUB[i]}" "$result" "$secs" "$tests" >>"$OUT"
  printf '[%d/%d] %-14s %-9s %4d s  %s\n' "$n" "${#SEL[@]}" "$id" "$result" "$secs" "${tests:0:100}"
done
# The copy is left as the checkout has it; its objects are rebuilt on the next run.

echo
echo "$n mutant(s) in $((SECONDS - start_all)) s; results in $OUT"
echo
awk -F'\t' '
  NR == 1 { next }
  {
    subs[$2] = 1; total[$2]++; all++
    if ($3 == "killed") { killed[$2]++; k++ }
    else if ($3 == "survived") { survived[$2]++; s++; surv = surv sprintf("  %-14s %s\n", $1, $2) }
    else { other[$2]++; o++; bad = bad sprintf("  %-14s %-9s %s %s\n", $1, $2, $3, $5) }
  }
  END {
    printf "%-10s %8s %7s %9s %6s %7s\n", "subsystem", "mutants", "killed", "survived", "other", "score"
    n = 0; for (x in subs) names[++n] = x
    for (a = 1; a <= n; a++) for (b = a + 1; b <= n; b++) if (names[b] < names[a]) { t = names[a]; names[a] = names[b]; names[b] = t }
    for (a = 1; a <= n; a++) {
      x = names[a]; judged = killed[x] + survived[x]
      printf "%-10s %8d %7d %9d %6d %6s\n", x, total[x], killed[x], survived[x], other[x],
        judged ? sprintf("%.0f%%", 100 * killed[x] / judged) : "-"
    }
    printf "%-10s %8d %7d %9d %6d %6s\n", "all", all, k, s, o, (k + s) ? sprintf("%.0f%%", 100 * k / (k + s)) : "-"
    if (surv != "") printf "\nsurvivors:\n%s", surv
    if (bad != "") printf "\nnot judged (faults of the list or of the baseline):\n%s", bad
  }' "$OUT"
