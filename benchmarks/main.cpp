// `--short` is for the other benchmarks; all other options go to the benchmark library.

#include <benchmark/benchmark.h>

#include <string_view>
#include <vector>

int main(int count, char** arguments)
{
    std::vector<char*> passed(arguments, arguments + count);
    std::erase_if(passed, [](const char* argument) { return std::string_view(argument) == "--short"; });
    int passedCount = static_cast<int>(passed.size());
    benchmark::Initialize(&passedCount, passed.data());
    if (benchmark::ReportUnrecognizedArguments(passedCount, passed.data()))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
