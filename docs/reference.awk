# What doxygen reads of a header: a comment belongs to all declarations below it, up to an empty line, so it is repeated before
# each of them that has none of its own.  A label at the beginning of a line, such as "Returns:", becomes the title of its
# paragraph.  Fields that mean nothing are called so.
reading && /^ \* (Operands|Writes|Returns|Reports|Memory)[^.:]*:/ { sub(/^ \* /, "&@par "); sub(/: ?/, "\n * ") }
/^ *\/\*\*($|[^<])/ { comment = ""; reading = 1 }
reading { comment = comment $0 "\n"; reading = !/\*\//; print; last = "comment"; next }
/^ *$/ || /\{$/ { comment = "" }
/^ *[A-Za-z#]/ && !/\/\*\*</ && last ~ /;|^#define[^\\]*$/ { printf "%s", comment }
/_(unused|opaque)_[a-z]/ && !/\/\*\*</ { sub(/;/, "; /**< not read */") }
{ last = $0; print }
