# Reads the JSON files that the benchmark programs write with
# --benchmark_out_format=json and prints one table: each operation's rate for
# the library beside each peer's, with the ratio (library / peer; above 1 the
# library is faster) and, where the project has set one, the goal and whether
# it was met. Writes the same figures as JSON to the file named by `json`.
#
# Case names are <family>/<operation>/<impl>, impl `lumbrel` for the library.
# The rate is bytes_per_second or items_per_second, whichever the case sets.
# Plain awk (mawk too): the programs write one JSON member a line.
#
#   awk -v json=out.json -v skipped="POCO ICU" -v stamp="..." -f report.awk *.json

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
  if (name == "" || run_type == "aggregate") {
    name = ""
    return
  }
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
  rate[key, impl] = error != "" ? "" : (bytes != "" ? bytes : items)
  unit[key, impl] = bytes != "" ? "bytes_per_second" : "items_per_second"
  failure[key, impl] = error
  results[++result_count] = key SUBSEP impl
  name = ""
}

/^[ \t]*"name":/ {
  flush()
  name = value_of($0)
  name_file = FILENAME
  run_type = ""
  bytes = ""
  items = ""
  error = ""
  next
}
name != "" && /^[ \t]*"run_type":/ { run_type = value_of($0) }
name != "" && /^[ \t]*"bytes_per_second":/ { bytes = value_of($0) }
name != "" && /^[ \t]*"items_per_second":/ { items = value_of($0) }
name != "" && /^[ \t]*"error_message":/ { error = value_of($0) }
name != "" && /^[ \t]*"error_occurred": true/ { if (error == "") error = "error" }

function human(value, kind) {
  if (value == "") return "-"
  value += 0
  if (kind == "bytes_per_second") {
    if (value >= 1e9) return sprintf("%.2f GB/s", value / 1e9)
    return sprintf("%.1f MB/s", value / 1e6)
  }
  if (value >= 1e6) return sprintf("%.2f M/s", value / 1e6)
  if (value >= 1e3) return sprintf("%.1f k/s", value / 1e3)
  return sprintf("%.1f /s", value)
}

# The goal that applies to a ratio, as "op threshold", or "".
function goal_for(family, operation, peer) {
  if (family == "text") {
    if (peer == "memcpy") return operation ~ /ascii/ ? ">= 0.333" : ""
    return "> 1"
  }
  if (family == "settings" || family == "properties")
    return operation ~ /^open/ ? "> 1" : ""
  if (family == "datafile")
    return operation ~ /^open_close/ && peer == "plain" ? ">= 0.5" : ""
  if (family == "uuid")
    return operation ~ /^generate/ && peer == "libuuid" ? ">= 5" : ""
  if (family == "datetime") {
    if (operation ~ /^parse/ && peer == "strptime") return "> 1"
    if (operation ~ /^format/ && peer == "strftime") return "> 1"
    return ""
  }
  if (family == "concurrency" && peer == "std") {
    if (operation ~ /^mutex_uncontended/ || operation ~ /^event_ping_pong/) return ">= 0.667"
  }
  return ""
}

function met(goal, ratio,    parts) {
  split(goal, parts, " ")
  return parts[1] == ">" ? ratio > parts[2] + 0 : ratio >= parts[2] + 0
}

function json_string(text) {
  gsub(/\\/, "\\\\", text)
  gsub(/"/, "\\\"", text)
  return "\"" text "\""
}

function json_number(text) { return text == "" ? "null" : text }

function row(family, operation, mine, peer, theirs, ratio, goal) {
  printf "| %-11s | %-38s | %12s | %-9s | %12s | %6s | %-16s |\n", family, operation, mine, peer,
         theirs, ratio, goal
}

END {
  flush()
  row("family", "operation", "lumbrel rate", "peer", "peer rate", "ratio", "goal")
  print "|-------------|----------------------------------------|--------------|-----------|" \
        "--------------|--------|------------------|"
  comparison_count = 0
  missed = 0
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
      ratio = ""
      ratio_text = "-"
      if (mine != "" && theirs != "" && theirs + 0 > 0) {
        ratio = (mine + 0) / (theirs + 0)
        ratio_text = sprintf(ratio >= 0.1 ? "%.2f" : "%.3f", ratio)
      }
      goal = goal_for(family, operation, peer)
      verdict = ""
      if (goal != "") {
        if (ratio == "") verdict = "no figure"
        else if (met(goal, ratio)) verdict = "met"
        else {
          verdict = "MISSED"
          missed++
        }
      }
      row(family, operation, mine_text, peer, theirs_text, ratio_text,
          goal == "" ? "" : goal " " verdict)
      comparisons[++comparison_count] = sprintf( \
          "{\"family\": %s, \"operation\": %s, \"peer\": %s, \"lumbrel_rate\": %s, " \
          "\"peer_rate\": %s, \"ratio\": %s, \"goal\": %s, \"goal_result\": %s}",
          json_string(family), json_string(operation), json_string(peer), json_number(mine),
          json_number(theirs), ratio == "" ? "null" : sprintf("%.4f", ratio),
          goal == "" ? "null" : json_string("ratio " goal),
          verdict == "" ? "null" : json_string(verdict))
    }
    if (peers == 0) row(family, operation, mine_text, "-", "-", "-", "")
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
  printf "  ]\n}\n" > json
  close(json)
}
