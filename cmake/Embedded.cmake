# The files the program carries and writes out when needed, under :/embedded/<id>.
# A folder that builds such a file declares it with quillmere_embed(); every
# target that needs the files (the program, the tests) calls
# quillmere_embed_files().

function(quillmere_embed id file producing_target)
  set_property(GLOBAL APPEND PROPERTY QUILLMERE_EMBEDDED "${id}|${file}|${producing_target}")
endfunction()

function(quillmere_embed_files target)
  get_property(entries GLOBAL PROPERTY QUILLMERE_EMBEDDED)
  if(NOT entries)
    message(FATAL_ERROR "quillmere_embed_files: no embedded file is declared yet")
  endif()
  set(files)
  foreach(entry IN LISTS entries)
    string(REPLACE "|" ";" parts "${entry}")
    list(GET parts 0 id)
    list(GET parts 1 file)
    list(GET parts 2 producer)
    set_source_files_properties(${file} PROPERTIES GENERATED TRUE QT_RESOURCE_ALIAS "${id}")
    list(APPEND files ${file})
    add_dependencies(${target} ${producer})
  endforeach()
  qt_add_resources(${target} "embedded_files" PREFIX "/embedded" FILES ${files})
endfunction()
