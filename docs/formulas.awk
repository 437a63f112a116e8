# Shows the indented lines of doc comments, formulas and tables, as they are written. Lines keep their numbers.
# A continuation of a list item is indented as well: it is none.
function flush(tail) {
  if (held != "") print held tail
  held = ""
}
{
  isComment = $0 ~ /^ *\/\/\//
  isItem = $0 ~ /^ *\/\/\/ - /
  isIndented = $0 ~ /^ *\/\/\/   +[^ ]/
  isFormula = isIndented && !inList
  inList = isItem || (inList && isIndented)
  if (isFormula && !wasFormula && wasComment) {
    flush(" \\code{.unparsed}")
  } else if (!isFormula && wasFormula) {
    flush(" \\endcode")
  } else {
    flush("")
  }
  if (isFormula && !wasFormula && !wasComment) sub(/\/\/\//, "/// \\code{.unparsed}")
  held = $0 == "" ? " " : $0
  wasFormula = isFormula
  wasComment = isComment
}
END { flush("") }
