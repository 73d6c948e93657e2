#include "PtxMachine.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace fakecuda {
namespace {

// Everything but spaces and the signs between operands.
std::vector<std::string> Words(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char sign) { return std::strchr(",;{}[]", sign) != nullptr; }, ' ');
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

// What lies between two marks from a place on, which is moved behind them.
std::string Between(const std::string& text, std::size_t& place, const std::string& begin, const std::string& end) {
    const std::size_t first = text.find(begin, place) + begin.size();
    place = text.find(end, first);
    if (first < begin.size() || place == std::string::npos) {
        throw std::runtime_error("no " + begin);
    }
    return text.substr(first, place - first);
}

} // namespace

std::map<std::string, PtxKernel> PtxKernel::Parse(const std::string& text) {
    const std::string entry = ".visible .entry ";
    std::map<std::string, PtxKernel> kernels;
    for (std::size_t place = text.find(entry); place != std::string::npos; place = text.find(entry, place)) {
        PtxKernel& kernel = kernels[Between(text, place, entry, "(")];
        const std::vector<std::string> parameters = Words(Between(text, place, "(", ")"));
        for (std::size_t word = 0; word + 2 < parameters.size(); word += 3) {
            kernel.mParameters.emplace_back(parameters[word + 2], parameters[word + 1] == ".u64");
        }
        std::istringstream lines(Between(text, place, "{\n", "\n}"));
        for (std::string line; std::getline(lines, line);) {
            std::vector<std::string> words = Words(line);
            if (words.empty() || words[0] == ".reg") {
                continue;
            }
            if (words[0].back() == ':') {
                kernel.mLabels[words[0].substr(0, words[0].size() - 1)] = kernel.mInstructions.size();
                continue;
            }
            Instruction instruction;
            if (words[0][0] == '@') {
                instruction.guard = words[0].substr(1);
                words.erase(words.begin());
            }
            instruction.name = words[0];
            instruction.operands.assign(words.begin() + 1, words.end());
            kernel.mInstructions.push_back(instruction);
        }
    }
    return kernels;
}

PtxKernel::Values PtxKernel::Read(void* const* parameters) const {
    Values given;
    for (std::size_t n = 0; n < mParameters.size(); ++n) {
        std::memcpy(&given[mParameters[n].first], parameters[n], mParameters[n].second ? 8 : 4);
    }
    return given;
}

void PtxKernel::Run(std::array<unsigned, 2> grid, unsigned block, const Values& given, const Store& store) const {
    for (std::uint64_t number = 0; number < std::uint64_t{grid[0]} * grid[1] * block; ++number) {
        Values registers{{"%tid.x", number % block},
                         {"%ctaid.x", number / block % grid[0]},
                         {"%ctaid.y", number / block / grid[0]},
                         {"%ntid.x", block},
                         {"%nctaid.y", grid[1]}};
        const auto value = [&](const std::string& operand) {
            return operand[0] == '%' ? registers.at(operand) : std::stoull(operand);
        };
        for (std::size_t next = 0; next < mInstructions.size();) {
            const auto& [guard, name, operands] = mInstructions[next++];
            if (!guard.empty() && registers.at(guard) == 0) {
                continue;
            }
            if (name == "ret") {
                break;
            }
            if (name == "bra") {
                next = mLabels.at(operands[0]);
                continue;
            }
            if (name.starts_with("st.global.v")) {
                std::vector<std::uint32_t> words;
                for (std::size_t n = 1; n < operands.size(); ++n) {
                    words.push_back(static_cast<std::uint32_t>(value(operands[n])));
                }
                if (words.size() != static_cast<std::size_t>(name[11] - '0')) {
                    throw std::runtime_error(name);
                }
                store(value(operands[0]), words);
                continue;
            }
            std::uint64_t result = 0;
            if (name.starts_with("ld.param")) {
                result = given.at(operands[1]);
            } else if (name == "mov.u32" || name == "cvta.to.global.u64" || name == "cvt.u64.u32") {
                result = value(operands[1]);
            } else if (name == "setp.ge.u32") {
                result = value(operands[1]) >= value(operands[2]) ? 1 : 0;
            } else if (name == "mad.lo.u32") {
                result = value(operands[1]) * value(operands[2]) + value(operands[3]);
            } else if (name == "mul.wide.u32" || name == "mul.lo.u64") {
                result = value(operands[1]) * value(operands[2]);
            } else if (name.starts_with("add.")) {
                result = value(operands[1]) + value(operands[2]);
            } else {
                throw std::runtime_error("no instruction " + name);
            }
            const bool narrow = name.ends_with(".u32") && name != "mul.wide.u32";
            registers[operands[0]] = narrow ? result & 0xFFFFFFFFU : result;
        }
    }
}

} // namespace fakecuda
