# The floors of the library, lowest first. A floor uses only the floors before it, and support.
set(KELMIME_FLOORS base codec header message security)

# Links the object files of the floors up to and including `top`, so that a call that goes up the stairs fails to link.
# Internal headers come along: this is for the tests, the benchmarks and the fuzzers.
function(kelmime_link_floors target top)
  foreach(floor IN LISTS KELMIME_FLOORS)
    if(TARGET kelmime_${floor})
      target_link_libraries(${target} PRIVATE kelmime_${floor})
    endif()
    if(floor STREQUAL top)
      break()
    endif()
  endforeach()
  target_link_libraries(${target} PRIVATE kel_support)
endfunction()
