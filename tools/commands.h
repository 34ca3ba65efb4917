// The subcommands of the tav program: each takes the arguments after its
// name, returns the exit status, and throws Failure for errors.
#pragma once

#include <string>
#include <vector>

namespace tavcli {

// capture.cpp, built where Aravis is installed (TAV_TOOL_CAPTURE).
int runCapture(const std::vector<std::string>& argv);
int runDemo(const std::vector<std::string>& argv);
int runDemosaic(const std::vector<std::string>& argv);
int runConvert(const std::vector<std::string>& argv);
int runFormats(const std::vector<std::string>& argv);
int runLsc(const std::vector<std::string>& argv);

}  // namespace tavcli
