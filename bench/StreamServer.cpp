// bench-stream-server: serves the sample answer stream on POST /v1/ask, for timing the command-line
// ask against a plain HTTP client. Prints the port it listens on (loopback only), then serves until
// it is stopped or its lifetime runs out.
#include "SampleStream.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <httplib.h>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

struct Options
{
    int deltas = 100'000;
    int eventsPerWrite = 1;
    int lifetimeSeconds = 900;
};

bool parse(int argc, char* argv[], Options& options)
{
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string_view name = argv[i];
        const int value = std::atoi(argv[i + 1]);
        if (value <= 0)
            return false;
        if (name == "--deltas")
            options.deltas = value;
        else if (name == "--events-per-write")
            options.eventsPerWrite = value;
        else if (name == "--lifetime")
            options.lifetimeSeconds = value;
        else
            return false;
    }
    return argc % 2 == 1;
}

// Cuts the stream after every `eventsPerWrite` events; each piece goes out as one chunk.
std::vector<std::string_view> writes(std::string_view stream, int eventsPerWrite)
{
    std::vector<std::string_view> pieces;
    std::size_t start = 0;
    int events = 0;
    for (std::size_t end = stream.find("\n\n"); end != std::string_view::npos;
         end = stream.find("\n\n", end + 2)) {
        if (++events % eventsPerWrite == 0) {
            pieces.push_back(stream.substr(start, end + 2 - start));
            start = end + 2;
        }
    }
    if (start < stream.size())
        pieces.push_back(stream.substr(start));
    return pieces;
}

} // namespace

int main(int argc, char* argv[])
{
    Options options;
    if (!parse(argc, argv, options)) {
        std::fputs("usage: bench-stream-server [--deltas N] [--events-per-write N] [--lifetime SECONDS]\n",
                   stderr);
        return 64;
    }
    const std::string stream = SampleStream::make(options.deltas);
    const std::vector<std::string_view> pieces = writes(stream, options.eventsPerWrite);

    httplib::Server server;
    // Without it every small chunk waits for the previous one's acknowledgement.
    server.set_tcp_nodelay(true);
    server.Post("/v1/ask", [&pieces](const httplib::Request&, httplib::Response& response) {
        response.set_chunked_content_provider("text/event-stream",
                                              [&pieces](std::size_t, httplib::DataSink& sink) {
                                                  for (const std::string_view piece : pieces) {
                                                      if (!sink.write(piece.data(), piece.size()))
                                                          return false;
                                                  }
                                                  sink.done();
                                                  return true;
                                              });
    });

    const int port = server.bind_to_any_port("127.0.0.1");
    if (port < 0) {
        std::fputs("bench-stream-server: cannot listen on 127.0.0.1\n", stderr);
        return 1;
    }
    std::printf("%d\n", port);
    std::fflush(stdout);
    // A forgotten server stops by itself.
    std::thread([&server, seconds = options.lifetimeSeconds] {
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
        server.stop();
    }).detach();
    return server.listen_after_bind() ? 0 : 1;
}
