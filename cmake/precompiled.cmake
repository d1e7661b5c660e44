# Headers of the standard library that most sources of the reference host read, compiled once for each target.  tools/lint reads
# every source without them, so a source that forgets an include does not pass.
foreach(target vorn_store vorn_sql vornq_parts vornq)
  if(TARGET ${target})
    target_precompile_headers(${target} PRIVATE <fmt/format.h> <algorithm> <array> <functional> <map> <memory> <optional>
      <span> <string> <string_view> <utility> <variant> <vector>)
  endif()
endforeach()
