# Reads the JSON files that the benchmark programs write with
# --benchmark_out_format=json and prints one table: each operation's rate for
# the library beside each peer's, with the ratio (library / peer; above 1 the
# library is faster), then each goal of the file named by `goals` (see
# bench/goals) with its figure and whether it was met. Writes the same figures
# as JSON to the file named by `json`.
#
# Case names are <family>/<operation>/<impl>, impl `lumbrel` for the library.
# The rate is bytes_per_second or items_per_second, whichever the case sets;
# of a case run several times, the median's. A memory case sets the counter
# peak_per_byte instead (the peak resident set added per byte of file, lower
# is better), which stands in the rate's place.
# Plain awk (mawk too): the programs write one JSON member a line.
#
#   awk -v goals=bench/goals -v json=out.json -v skipped="POCO ICU" -v stamp="..." \
#       -f report.awk *.json

function value_of(line) {
  sub(/^[ \t]*"[^"]*":[ \t]*/, "", line)
  sub(/,[ \t]*$/, "", line)
  gsub(/^"|"$/, "", line)
  return line
}

function program_family(file) {
  sub(/^.*\//, "", file)
  sub(/\.json$/, "", file)
  sub(/_bench$/, "", file)
  return file
}

# Stores the case read so far, if it is a measured run.
function flush(    parts, count, i, family, operation, impl, key) {
  # A case repeated several times counts by its median.
  if (run_type == "aggregate" && aggregate_name == "median" && run_name != "") name = run_name
  else if (run_type == "aggregate") name = ""
  if (name == "") return
  count = split(name, parts, "/")
  if (count >= 3 && parts[1] ~ /^[a-z0-9_]+$/ && parts[3] !~ /:/ &&
      parts[3] !~ /^(real_time|manual_time|process_time)$/) {
    family = parts[1]
    operation = parts[2]
    impl = parts[3]
    # Suffixes that Google Benchmark adds; threads:N stays, it is part of
    # what was measured.
    for (i = 4; i <= count; i++) {
      if (parts[i] ~ /^(real_time|manual_time|process_time|min_time:|iterations:|repeats:)/) continue
      operation = operation "/" parts[i]
    }
  } else {
    # A name outside the convention: the library's, in its program's family.
    family = program_family(name_file)
    operation = name
    impl = "lumbrel"
  }
  key = family SUBSEP operation
  if (!(key in seen_operation)) {
    seen_operation[key] = 1
    operations[++operation_count] = key
    operation_family[key] = family
    operation_name[key] = operation
  }
  if (!((key, impl) in rate)) {
    impls_of[key, ++impl_count[key]] = impl
  }
  rate[key, impl] = error != "" ? "" : (bytes != "" ? bytes : items != "" ? items : peak)
  unit[key, impl] = bytes != "" ? "bytes_per_second" : items != "" ? "items_per_second" : \
      peak != "" ? "peak_per_byte" : "items_per_second"
  failure[key, impl] = error
  results[++result_count] = key SUBSEP impl
  name = ""
}

/^[ \t]*"name":/ {
  flush()
  name = value_of($0)
  name_file = FILENAME
  run_type = ""
  run_name = ""
  aggregate_name = ""
  bytes = ""
  items = ""
  peak = ""
  error = ""
  next
}
name != "" && /^[ \t]*"run_type":/ { run_type = value_of($0) }
name != "" && /^[ \t]*"run_name":/ { run_name = value_of($0) }
name != "" && /^[ \t]*"aggregate_name":/ { aggregate_name = value_of($0) }
name != "" && /^[ \t]*"bytes_per_second":/ { bytes = value_of($0) }
name != "" && /^[ \t]*"items_per_second":/ { items = value_of($0) }
name != "" && /^[ \t]*"peak_per_byte":/ { peak = value_of($0) }
name != "" && /^[ \t]*"error_message":/ { error = value_of($0) }
name != "" && /^[ \t]*"error_occurred": true/ { if (error == "") error = "error" }

function human(value, kind) {
  if (value == "") return "-"
  value += 0
  if (kind == "peak_per_byte") return sprintf("%.2f x file", value)
  if (kind == "bytes_per_second") {
    if (value >= 1e9) return sprintf("%.2f GB/s", value / 1e9)
    return sprintf("%.1f MB/s", value / 1e6)
  }
  if (value >= 1e6) return sprintf("%.2f M/s", value / 1e6)
  if (value >= 1e3) return sprintf("%.1f k/s", value / 1e3)
  return sprintf("%.1f /s", value)
}

# Reads the goals file named by `goals` (see bench/goals).
function read_goals(    line, fields, count) {
  if (goals == "") return
  while ((getline line < goals) > 0) {
    sub(/#.*/, "", line)
    count = split(line, fields, " ")
    if (count == 0) continue
    if (fields[1] == "reference") {
      for (i = 2; i <= count; i++) reference[fields[i]] = 1
      continue
    }
    if (count != 4 || (fields[3] != ">=" && fields[3] != ">" && fields[3] != "<=" && fields[3] != "<")) {
      printf "report.awk: %s: cannot read the goal \"%s\"\n", goals, line > "/dev/stderr"
      exit 2
    }
    goal_pattern[++goal_count] = fields[1]
    goal_peers[goal_count] = fields[2]
    goal_bound[goal_count] = fields[3] " " fields[4]
  }
  close(goals)
}

function met(bound, ratio,    parts) {
  split(bound, parts, " ")
  if (parts[1] == "<") return ratio < parts[2] + 0
  if (parts[1] == "<=") return ratio <= parts[2] + 0
  return parts[1] == ">" ? ratio > parts[2] + 0 : ratio >= parts[2] + 0
}

# The N of an operation: the last number in its name.
function size_of(operation) {
  if (!match(operation, /[0-9]+[^0-9]*$/)) return ""
  operation = substr(operation, RSTART)
  match(operation, /^[0-9]+/)
  return substr(operation, 1, RLENGTH) + 0
}

function add_verdict(key, label, peer, figure, verdict, shown) {
  if (verdict != "met") missed++
  ++verdict_count
  verdict_key[verdict_count] = key
  verdict_name[verdict_count] = shown
  verdict_goal[verdict_count] = label
  verdict_peer[verdict_count] = peer
  verdict_ratio[verdict_count] = figure
  verdict_result[verdict_count] = verdict
}

# Goals whose PEERS is `self` hold the library's own figure of each matched
# operation to the bound; `growth` takes the matched operations of the
# library as one series over their N and holds the growth of the cost of one
# item, rate at the smallest N / rate at the largest, to the bound.
function judge_own(g,    o, key, figure, small, large, small_key, large_key, n, label) {
  label = goal_peers[g] " " goal_bound[g]
  small = ""
  large = ""
  for (o = 1; o <= operation_count; o++) {
    key = operations[o]
    if (operation_family[key] "/" operation_name[key] !~ ("^(" goal_pattern[g] ")$")) continue
    figure = ((key, "lumbrel") in rate) ? rate[key, "lumbrel"] : ""
    if (goal_peers[g] == "self") {
      add_verdict(key, label, "-", figure, figure == "" ? "no figure" : \
                  met(goal_bound[g], figure + 0) ? "met" : "MISSED")
      continue
    }
    n = size_of(operation_name[key])
    if (n == "" || figure == "") continue
    if (small == "" || n < small) { small = n; small_key = key }
    if (large == "" || n > large) { large = n; large_key = key }
  }
  if (goal_peers[g] != "growth") return
  if (small == "" || small == large || rate[large_key, "lumbrel"] + 0 <= 0) {
    add_verdict("", label, "-", "", "no figure", goal_pattern[g])
    return
  }
  figure = (rate[small_key, "lumbrel"] + 0) / (rate[large_key, "lumbrel"] + 0)
  add_verdict("", label, "-", figure, met(goal_bound[g], figure) ? "met" : "MISSED",
              operation_family[large_key] "/" operation_name[small_key] ".." large)
}

# The peers of operation `key` that goal g holds the library against, as
# names in `chosen` (1..n); returns n. `best` picks the fastest peer that has
# a figure.
function goal_targets(g, key, chosen,    n, i, peer, best, names, count) {
  n = 0
  if (goal_peers[g] == "best" || goal_peers[g] == "each") {
    best = ""
    for (i = 1; i <= impl_count[key]; i++) {
      peer = impls_of[key, i]
      if (peer == "lumbrel" || peer in reference) continue
      if (goal_peers[g] == "each") chosen[++n] = peer
      else if (rate[key, peer] != "" && (best == "" || rate[key, peer] + 0 > rate[key, best] + 0))
        best = peer
    }
    if (goal_peers[g] == "best" && best != "") chosen[++n] = best
    return n
  }
  count = split(goal_peers[g], names, ",")
  for (i = 1; i <= count; i++)
    if ((key, names[i]) in rate) chosen[++n] = names[i]
  return n
}

function json_string(text) {
  gsub(/\\/, "\\\\", text)
  gsub(/"/, "\\\"", text)
  return "\"" text "\""
}

function json_number(text) { return text == "" ? "null" : text }

function row(family, operation, mine, peer, theirs, ratio, goal) {
  printf "| %-11s | %-34s | %12s | %-9s | %12s | %6s | %-18s |\n", family, operation, mine, peer,
         theirs, ratio, goal
}

function ratio_of(key, peer) {
  if (!((key, "lumbrel") in rate) || rate[key, "lumbrel"] == "") return ""
  if (rate[key, peer] == "" || rate[key, peer] + 0 <= 0) return ""
  return (rate[key, "lumbrel"] + 0) / (rate[key, peer] + 0)
}

function ratio_text(ratio) {
  return ratio == "" ? "-" : sprintf(ratio >= 0.1 ? "%.2f" : "%.3f", ratio)
}

# Judges every goal against every operation it matches: each (goal, operation)
# pair that has peers is one verdict, decided by the lowest ratio among them.
# The peers' rows in the table show the goal too.
function judge(    o, key, g, n, chosen, i, peer, ratio, worst, worst_peer, verdict, label) {
  for (g = 1; g <= goal_count; g++)
    if (goal_peers[g] == "self" || goal_peers[g] == "growth") judge_own(g)
  for (o = 1; o <= operation_count; o++) {
    key = operations[o]
    for (g = 1; g <= goal_count; g++) {
      if (goal_peers[g] == "self" || goal_peers[g] == "growth") continue
      if (operation_family[key] "/" operation_name[key] !~ ("^(" goal_pattern[g] ")$")) continue
      delete chosen
      n = goal_targets(g, key, chosen)
      worst = ""
      worst_peer = ""
      label = goal_peers[g] " " goal_bound[g]
      for (i = 1; i <= n; i++) {
        peer = chosen[i]
        ratio = ratio_of(key, peer)
        row_goal[key, peer] = (row_goal[key, peer] == "" ? "" : row_goal[key, peer] "; ") label \
            (ratio == "" ? " no figure" : met(goal_bound[g], ratio) ? " met" : " MISSED")
        if (ratio == "") {
          worst = "none"
          worst_peer = peer
        } else if (worst != "none" && (worst == "" || ratio < worst)) {
          worst = ratio
          worst_peer = peer
        }
      }
      # An operation that no peer measured (or whose named peer is not
      # installed) has nothing to hold the library against.
      if (n == 0) continue
      if (worst == "none") verdict = "no figure"
      else verdict = met(goal_bound[g], worst) ? "met" : "MISSED"
      add_verdict(key, label, worst_peer, worst == "none" ? "" : worst, verdict)
    }
  }
}

# The operation a verdict is about, or the series of a growth goal.
function verdict_label(v) {
  if (verdict_key[v] == "") return verdict_name[v]
  return operation_family[verdict_key[v]] "/" operation_name[verdict_key[v]]
}

BEGIN { read_goals() }

END {
  flush()
  missed = 0
  judge()
  row("family", "operation", "lumbrel rate", "peer", "peer rate", "ratio", "goal")
  print "|-------------|------------------------------------|--------------|-----------|" \
        "--------------|--------|--------------------|"
  comparison_count = 0
  for (o = 1; o <= operation_count; o++) {
    key = operations[o]
    family = operation_family[key]
    operation = operation_name[key]
    has_mine = (key, "lumbrel") in rate
    mine = has_mine ? rate[key, "lumbrel"] : ""
    mine_text = has_mine ? (failure[key, "lumbrel"] != "" ? "error" : human(mine, unit[key, "lumbrel"])) : "-"
    peers = 0
    for (i = 1; i <= impl_count[key]; i++) {
      peer = impls_of[key, i]
      if (peer == "lumbrel") continue
      peers++
      theirs = rate[key, peer]
      theirs_text = failure[key, peer] != "" ? "error" : human(theirs, unit[key, peer])
      ratio = ratio_of(key, peer)
      row(family, operation, mine_text, peer, theirs_text, ratio_text(ratio), row_goal[key, peer])
      comparisons[++comparison_count] = sprintf( \
          "{\"family\": %s, \"operation\": %s, \"peer\": %s, \"lumbrel_rate\": %s, " \
          "\"peer_rate\": %s, \"ratio\": %s}",
          json_string(family), json_string(operation), json_string(peer), json_number(mine),
          json_number(theirs), ratio == "" ? "null" : sprintf("%.4f", ratio))
    }
    if (peers == 0) row(family, operation, mine_text, "-", "-", "-", "")
  }

  if (verdict_count > 0) {
    printf "\nGoals (ratio = library / peer; `best` is the fastest peer, `each` every peer;\n" \
           "`self` the library's own figure; `growth` the cost of one item at the largest N\n" \
           "over that at the smallest):\n\n"
    printf "| %-48s | %-14s | %-9s | %6s | %-9s |\n", "operation", "goal", "against", "ratio",
           "result"
    print "|--------------------------------------------------|----------------|-----------|" \
          "--------|-----------|"
    for (v = 1; v <= verdict_count; v++) {
      key = verdict_key[v]
      printf "| %-48s | %-14s | %-9s | %6s | %-9s |\n",
             verdict_label(v), verdict_goal[v],
             verdict_peer[v] == "" ? "-" : verdict_peer[v], ratio_text(verdict_ratio[v]),
             verdict_result[v]
    }
  }
  if (missed > 0) printf "\n%d goal(s) missed.\n", missed
  else printf "\nEvery goal met.\n"

  if (json == "") exit
  printf "{\n  \"date\": %s,\n  \"skipped_peers\": [", json_string(stamp) > json
  count = split(skipped, names, " ")
  for (i = 1; i <= count; i++) printf "%s%s", (i > 1 ? ", " : ""), json_string(names[i]) > json
  printf "],\n  \"results\": [\n" > json
  for (r = 1; r <= result_count; r++) {
    split(results[r], parts, SUBSEP)
    key = parts[1] SUBSEP parts[2]
    impl = parts[3]
    printf "    {\"family\": %s, \"operation\": %s, \"impl\": %s, \"rate\": %s, \"unit\": %s%s}%s\n",
           json_string(parts[1]), json_string(parts[2]), json_string(impl),
           json_number(rate[key, impl]), json_string(unit[key, impl]),
           (failure[key, impl] != "" ? ", \"error\": " json_string(failure[key, impl]) : ""),
           (r < result_count ? "," : "") > json
  }
  printf "  ],\n  \"comparisons\": [\n" > json
  for (c = 1; c <= comparison_count; c++)
    printf "    %s%s\n", comparisons[c], (c < comparison_count ? "," : "") > json
  printf "  ],\n  \"goals\": [\n" > json
  for (v = 1; v <= verdict_count; v++) {
    key = verdict_key[v]
    printf "    {\"family\": %s, \"operation\": %s, \"goal\": %s, \"against\": %s, " \
           "\"ratio\": %s, \"result\": %s}%s\n",
           json_string(key == "" ? "" : operation_family[key]),
           json_string(key == "" ? verdict_name[v] : operation_name[key]),
           json_string(verdict_goal[v]), json_string(verdict_peer[v]),
           verdict_ratio[v] == "" ? "null" : sprintf("%.4f", verdict_ratio[v]),
           json_string(verdict_result[v]), (v < verdict_count ? "," : "") > json
  }
  printf "  ]\n}\n" > json
  close(json)
}
