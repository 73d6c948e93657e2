#include "reference/Operations.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <istream>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::vector<std::string> LinesOf(std::istream& inText) {
    std::vector<std::string> lines;
    for (std::string line; std::getline(inText, line);) {
        if (!line.starts_with('#')) {
            lines.push_back(line);
        }
    }
    return lines;
}

TEST(WindowsApiReferenceTest, EveryCallAnswersAsThePublicImplementation) {
    unsetenv("DISPLAY"); // the reference had none
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const file = open_memstream(&text, &size);
    PrintOperations(file, 0);
    std::fclose(file);
    std::istringstream printed(std::string(text, size));
    std::free(text);
    std::ifstream kept(VF_REFERENCE_FILE);
    const std::vector<std::string> expected = LinesOf(kept);
    const std::vector<std::string> actual = LinesOf(printed);
    ASSERT_GT(expected.size(), 100U);
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t n = 0; n < expected.size(); ++n) {
        EXPECT_EQ(actual[n], expected[n]);
    }
}

} // namespace
