// The in-process cost of one VLUN get through the handler frame, against the least any
// handler must do: parse the request's JSON text and write the same reply's JSON text with
// JsonCpp alone. Prints both and their ratio; the ratio is what to compare between runs.
#include "LibDouble.h"
#include "vlun/WebAPIServerVLUN.h"

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>
#include <kova/JsonText.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

namespace {

const std::string REQUEST_TEXT =
    R"({"api":"KOVA.Core.ISCSI.VLUN","version":1,"method":"get","params":{"uuid":"0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d"}})";

Json::Value Envelope(const KOVA::APIResponse& response)
{
    Json::Value envelope;
    envelope["success"] = response.GetError() == 0;
    envelope["data"] = response.GetData();
    return envelope;
}

// Parse the request, build the reply the handler would build, write it.
void BM_JsonCppAlone(benchmark::State& state)
{
    for (auto _ : state) {
        Json::Value request;
        KOVA::fromString(request, REQUEST_TEXT);
        Json::Value reply;
        reply["success"] = true;
        reply["data"]["status"] = 0;
        reply["data"]["sync_size"] = static_cast<Json::UInt64>(0);
        reply["data"]["total_size"] = static_cast<Json::UInt64>(0);
        std::string text = KOVA::toString(reply);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(BM_JsonCppAlone);

// Parse the request, run the handler through the frame (typed reads, validators, the
// library call on the double), write the envelope.
void BM_VLUNGetThroughTheFrame(benchmark::State& state)
{
    long calls = 0;
    for (auto _ : state) {
        Json::Value body;
        KOVA::fromString(body, REQUEST_TEXT);
        KOVA::APIRequest request(body["params"]);
        KOVA::APIResponse response;
        ISCSI::WebAPI::APIVLUN::Get(&request, &response);
        std::string text = KOVA::toString(Envelope(response));
        benchmark::DoNotOptimize(text);
        if (++calls % 4096 == 0)
            KOVATest::LibDouble::Get().Reset(); // keep the double's call log small
    }
}
BENCHMARK(BM_VLUNGetThroughTheFrame);

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration)
                nanoseconds[run.benchmark_name()] = run.GetAdjustedRealTime();
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> nanoseconds;
};

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const double alone = reporter.nanoseconds["BM_JsonCppAlone"];
    const double frame = reporter.nanoseconds["BM_VLUNGetThroughTheFrame"];
    if (alone > 0 && frame > 0)
        std::printf("VLUN get through the frame: %.0f ns, JsonCpp alone: %.0f ns, ratio %.2f\n", frame, alone,
                    frame / alone);
    benchmark::Shutdown();
    return 0;
}
