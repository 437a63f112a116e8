# What Doxygen reads in place of a header or page, line for line. In headers the indented lines of a
# comment, formulas and tables, are shown as they are written. Names of the public interface and its
# headers in back quotes become links; in pages through @ref, so that a name that does not exist is a
# warning.
function findNames(root,    find, header, line, space, word, last) {
  find = "find " root "/include " root "/platform " root "/forcefields/include -name '*.h'"
  while ((find | getline header) > 0) {
    while ((getline line < header) > 0) {
      sub(/^template <[^>]*> /, "", line)
      if (line ~ /^namespace QZ/) {
        split(line, word, " ")
        space = word[2]
      } else if (sub(/^(class|struct|enum class) (QZ_API )?/, "", line)) {
        split(line, word, /[^A-Za-z0-9]/)
        of[word[1]] = space "::" word[1]
      } else if (line ~ /^QZ_API /) {
        sub(/[(;].*/, "", line)
        last = split(line, word, /[ *&]+/)
        of[word[last]] = space "::" word[last]
      }
    }
    close(header)
  }
}
FNR == 1 && FILENAME ~ /\.md$/ {
  isPage = 1
  findNames(substr(FILENAME, 1, match(FILENAME, /\/[^\/]*\/[^\/]*$/) - 1))
}
isPage && FNR == 2 { $0 = "[TOC]" }
isPage && /^```/ { isCode = !isCode }

# A formula is an indented line of a comment that does not go on with an item of a list.
{
  isComment = /^ *\/\/\//
  isIndented = /^ *\/\/\/   +[^ ]/
  isItem = /^ *\/\/\/ (-|  *[0-9]+\.) / || (isItem && isIndented)
  isFormula = isIndented && !isItem
  isPlain = !isFormula && !isCode && !(isPage && /^    /)
}
# The marks stand at the ends of lines, so that lines keep their numbers; where a comment begins with a
# formula, in its first line.
FNR > 1 {
  if (isFormula && !wasFormula && wasComment) line = line " @code{.unparsed}"
  if (wasFormula && !isFormula) line = line " @endcode"
  print line
}
{
  rest = $0
  line = ""
  if (isFormula && !wasFormula && !wasComment) sub(/\/\/\//, "/// @code{.unparsed}", rest)
  while (isPlain && match(rest, /`((QZ|qz)[A-Za-z0-9]+|[a-z]+\/[a-z]+\.h)`/)) {
    name = substr(rest, RSTART + 1, RLENGTH - 2)
    if (isPage && name !~ /\//) name = "@ref " of[name] " \"" name "\""
    line = line substr(rest, 1, RSTART - 1) name
    rest = substr(rest, RSTART + RLENGTH)
  }
  line = line rest
  wasFormula = isFormula
  wasComment = isComment
}
END { print line }
