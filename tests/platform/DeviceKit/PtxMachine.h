#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace fakecuda {

/// Runs a kernel from its PTX text, thread by thread: the few instructions that the product's kernels use.
class PtxKernel {
public:
    /// The kernels of a module by name. Throws std::runtime_error for text that it does not understand.
    static std::map<std::string, PtxKernel> Parse(const std::string& text);

    /// store is given the address, the words and whether a thread may write there is its business.
    using Store = std::function<void(std::uint64_t address, const std::vector<std::uint32_t>& words)>;
    using Values = std::map<std::string, std::uint64_t>;
    Values Read(void* const* parameters) const;
    void Run(std::array<unsigned, 2> grid, unsigned block, const Values& given, const Store& store) const;

private:
    struct Instruction {
        std::string guard; ///< predicate register, or nothing
        std::string name;
        std::vector<std::string> operands;
    };
    std::vector<std::pair<std::string, bool>> mParameters; ///< name, and whether it has 64 bits
    std::vector<Instruction> mInstructions;
    std::map<std::string, std::size_t> mLabels;
};

} // namespace fakecuda
