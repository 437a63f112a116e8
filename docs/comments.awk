# What Doxygen reads in place of a header or page. In headers an indented line of a comment, which is
# a formula as a rule, stands on a line of its own. Names of the public interface and its headers in
# back quotes become links; in pages through @ref, so that a name that does not exist is a warning.
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
isPage && (isCode || /^    /) { print; next }

/^ *\/\/\/ - / { isList = 1 }
/^ *\/\/\/ ?[^ -]/ || !/^ *\/\/\// { isList = 0 }
{ isFormula = /^ *\/\/\/   +[^ ]/ && !/^ *\/\/\/ +[0-9]+\. / && !isList }
isFormula || (endsShort && /^ *\/\/\/ [^ ]/) {
  match($0, /\/\/\/ */)
  text = substr($0, RSTART + RLENGTH)
  endsShort = isFormula && length($0) < 92  # a longer one is a paragraph that goes on
  if (isFormula) gsub(/   +/, " \\&emsp; ", text)
  $0 = substr($0, 1, RSTART + 2) (isFormula ? " <br>&emsp;" : " <br>") text
}
!isFormula { endsShort = 0 }
{
  rest = $0
  $0 = ""
  while (match(rest, /`((QZ|qz)[A-Za-z0-9]+|[a-z]+\/[a-z]+\.h)`/)) {
    name = substr(rest, RSTART + 1, RLENGTH - 2)
    $0 = $0 substr(rest, 1, RSTART - 1) (isPage && name !~ /\// ? "@ref " of[name] " \"" name "\"" : name)
    rest = substr(rest, RSTART + RLENGTH)
  }
  print $0 rest
}
