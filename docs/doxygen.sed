# Prepares the documents for Doxygen: headings get the anchors that links to them use, links into
# another document use the anchor alone, and what is not part of the pages is named, not linked.
/^```/,/^```/b
/^##/{
h
s/^#* //
s/.*/\L&/
s/[^a-z0-9 _-]//g
s/ /-/g
s/.*/ {#&}/
H
g
s/\n//
}
s/\](\([A-Za-z./]*\.md\)#/](#/g
s/\[\([^]]*\)\](\.\.\/\(include\|extras\|examples\|tests\|tools\)[^)]*)/\1/g
