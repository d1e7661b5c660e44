// Help for the memory sanitizer.  The run-time library of C++ is not built with it, so the sanitizer does not see the
// writes of that library: heap memory counts as written, and strings and streams are compiled here and used by that
// library as well.
#include <locale>
#include <sstream>
#include <string>

extern "C" [[gnu::visibility("default")]] const char *__msan_default_options() {
  return "poison_in_malloc=0:poison_in_free=0";
}

// The table of this facet is made before there are variables that a kernel left unwritten where that library's then
// lie.
[[maybe_unused]] static const char widened = std::use_facet<std::ctype<char>>(std::locale()).widen(' ');

template class std::basic_string<char>;
template class std::basic_streambuf<char>;
template class std::basic_stringbuf<char>;
template class std::basic_ios<char>;
template class std::basic_ostream<char>;
template class std::basic_istream<char>;
template class std::basic_iostream<char>;
template class std::basic_stringstream<char>;
template class std::basic_ostringstream<char>;
template class std::num_put<char>;
