find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)

# Its own library, so that its parts are tested without running the program.
add_library(render_parts STATIC renderflight.cpp renderoptions.cpp renderpath.cpp
            renderstats.cpp rendertrace.cpp)
target_link_libraries(render_parts
  PUBLIC simulator graphics_opengl graphics_opengl3 graphics_offscreen nlohmann_json::nlohmann_json
  PRIVATE project_warnings CLI11::CLI11 fmt::fmt)
target_compile_definitions(render_parts PRIVATE TARNVALE_VERSION="${PROJECT_VERSION}")

add_executable(tarnvale-render render.cpp)
target_link_libraries(tarnvale-render PRIVATE render_parts project_warnings)
