# Warnings apply to the project's own targets only (imported libraries keep theirs).
set(IMSRCS_WARNING_FLAGS -Wall -Wextra -Werror)

if(IMSRCS_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

# Applies the project's warning flags to a target of our own.
function(imsrcs_target_flags target)
  target_compile_options(${target} PRIVATE ${IMSRCS_WARNING_FLAGS})
endfunction()
