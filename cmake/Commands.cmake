# The commands for users. Each folder src/tools/NAME/ is one, with the page of its manual, NAME.1. They
# use the public headers of both libraries only.

set(commands)
if(QZ_BUILD_TOOLS)
    file(GLOB commandSources CONFIGURE_DEPENDS src/tools/*/*.cpp)
    foreach(source IN LISTS commandSources)
        cmake_path(GET source PARENT_PATH folder)
        cmake_path(GET folder FILENAME command)
        if(NOT TARGET ${command})
            list(APPEND commands ${command})
            add_executable(${command})
            target_link_libraries(${command} PRIVATE qzSystem::ext)
        endif()
        target_sources(${command} PRIVATE ${source})
    endforeach()
endif()
