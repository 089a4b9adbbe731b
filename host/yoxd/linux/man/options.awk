# Turns the options that `yoxd --help` prints into entries of a manual page, in the place of the line @OPTIONS@ of the
# second file.
function entry() {
  if (name != "") entries = entries ".TP\n.BI " name (value != "" ? " \" " value "\"" : "") "\n" text ".\n"
  name = value = text = ""
}
FNR == NR && /^Options:/ { in_options = 1; next }
FNR == NR && in_options && /^  -/ {
  entry()
  line = substr($0, 3)
  at = match(line, /   +/)
  head = at ? substr(line, 1, at - 1) : line
  text = at ? substr(line, at + RLENGTH) : ""
  at = index(head, " ")
  name = at ? substr(head, 1, at - 1) : head
  value = at ? substr(head, at + 1) : ""
  sub(/[=:].*/, "", value)
  sub(/,/, ", ", name)
  gsub(/-/, "\\-", name)
  name = "\"" name "\""
  next
}
FNR == NR && in_options && /^ +[^ ]/ { sub(/^ +/, ""); text = text (text != "" ? " " : "") $0; next }
FNR == NR { next }
$0 == "@OPTIONS@" { entry(); printf "%s", entries; next }
{ print }
