# Headers of the standard library that most sources of the reference host read, compiled once for each target.  tools/lint FILE reads
# a source without them, so a source that forgets an include does not pass.
#
# VORN_UNITY_BUILD compiles up to sixteen sources of a target as one, a group.
foreach(target vornhost vorn_store vorn_sql vorn_adbc vornq_parts vornq host_tests vorn_bench vorn_fuzz_store)
  if(TARGET ${target})
    set_target_properties(${target} PROPERTIES UNITY_BUILD ${VORN_UNITY_BUILD} UNITY_BUILD_BATCH_SIZE 16)
    # In a group, names hide names of other sources.  gcc takes the sources for headers, and warns of members whose
    # types only one source knows.
    if(VORN_UNITY_BUILD)
      target_compile_options(${target} PRIVATE -Wno-shadow $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
    endif()
  endif()
endforeach()
foreach(target vorn_store vorn_sql vorn_adbc vornq_parts vornq)
  if(TARGET ${target})
    target_precompile_headers(${target} PRIVATE <fmt/format.h> <algorithm> <array> <functional> <map> <memory> <optional>
      <span> <string> <string_view> <utility> <variant> <vector>)
  endif()
endforeach()
