# The code in the comments of a header: with first=1 the first block, else all others.
/@code/ { inside = (++blocks == 1) == first; next }
/@endcode/ { inside = 0 }
inside { sub(/^ \* ?/, ""); print }
