#include "FuzzTarget.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

/// Runs a target on every file of the given folders. A folder that is not there has none; all together must
/// have one, else nothing was tested.
int main(int count, char** arguments)
{
    namespace fs = std::filesystem;
    std::vector<fs::path> inputs;
    for (int i = 1; i < count; ++i) {
        std::error_code error;
        for (const auto& entry : fs::recursive_directory_iterator(arguments[i], error)) {
            if (entry.is_regular_file()) {
                inputs.push_back(entry.path());
            }
        }
    }
    std::ranges::sort(inputs);
    vantorel::fuzz::runTarget({});
    for (const auto& path : inputs) {
        std::printf("%s\n", path.c_str());
        std::fflush(stdout); // the last line names the input that ended the process
        std::ifstream file(path, std::ios::binary);
        const std::string input{std::istreambuf_iterator<char>(file), {}};
        vantorel::fuzz::runTarget(input);
    }
    std::printf("%zu inputs\n", inputs.size());
    return inputs.empty() ? 1 : 0;
}
