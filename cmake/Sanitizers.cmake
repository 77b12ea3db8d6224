# Applies -fsanitize=${CRI_SANITIZE} to everything in the tree, so that no half of a test is blind.
set(CRI_SANITIZE "" CACHE STRING "Comma-separated sanitizers, as -fsanitize takes them")
if(CRI_SANITIZE)
  add_compile_options(-fsanitize=${CRI_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${CRI_SANITIZE})
endif()
