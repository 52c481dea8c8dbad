# Gives a program its manifest, icon and version record; elsewhere than on Windows it has none.
function(orvane_windows_resources program description)
  if(NOT WIN32)
    return()
  endif()
  set(folder ${PROJECT_SOURCE_DIR}/resources/windows)
  set(icon ${PROJECT_SOURCE_DIR}/resources/icons/orvane.ico)
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${program}.rc)
  string(REPLACE "." "," version ${PROJECT_VERSION})
  configure_file(${folder}/orvane.rc.in ${script} @ONLY)
  target_sources(${program} PRIVATE ${script})
  set_source_files_properties(${script} PROPERTIES OBJECT_DEPENDS
    "${folder}/orvane.manifest;${icon}")
endfunction()

if(WIN32)
  enable_language(RC)
endif()
