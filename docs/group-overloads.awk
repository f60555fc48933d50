# Filter for the API reference: a comment in a header holds for all the declarations that stand
# together under it, up to the next empty line or comment.

function close_group() {
  if (grouped) print "///@}"
  grouped = 0
}

/^ *\/\/\/([^<]|$)/ {
  if (!commented) close_group()
  comment = comment $0 "\n"
  commented = 1
  if (/@file/) whole_file = 1
  next
}

{
  if (commented) {
    alone = whole_file || /^ *(class|struct|namespace|enum|extern "C" \{|#define)/ || /^$/
    if (!alone) {
      print "///@{"
      grouped = 1
    }
    printf "%s", comment
    comment = ""
    commented = whole_file = 0
  }
  if (/^$/ || /^ *(};?|public:|protected:|private:)/) {
    # A line inside of an inline function ends nothing.
    if (!/^ +}$/) close_group()
  }
  print
}

END {
  close_group()
}
