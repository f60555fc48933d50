# Converts the Debian change log to RPM's form.
/^moxel \(/ { version = $2; gsub(/[()]/, "", version) }
/^  / { text = text "\n" ($1 == "*" ? "- " : "  ") substr($0, 5) }
/^ -- / {
  split(substr($0, 5), part, "  ")
  split(part[2], date, /[ ,]+/)
  printf "* %s %s %s %s %s - %s-1%s\n\n", date[1], date[3], date[2], date[4], part[1], version, text
  text = ""
}
