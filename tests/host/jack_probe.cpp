// A JACK client that plays one impulse into a plug-in host's left input and records both of its outputs, then
// prints levels of the recording for a test script to compare between runs.
// Usage: jack_probe <client name of the host> <seconds to record>
// Prints: "left_peak L", "right_peak R", then "right_rms FROM TO VALUE" for windows of seconds after the
// impulse.
#include <jack/jack.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace
{
struct Probe
{
    jack_port_t* out = nullptr;
    jack_port_t* inLeft = nullptr;
    jack_port_t* inRight = nullptr;
    std::vector<float> left, right;
    std::size_t recorded = 0;
    // Cycles to let pass after the connections are made, so that the host has run and taken its settings.
    std::atomic<int> cyclesToImpulse{-1};
    bool impulseSent = false;
    std::atomic<bool> done{false};
};

int process(jack_nframes_t frames, void* arg)
{
    auto& p = *static_cast<Probe*>(arg);
    auto* out = static_cast<float*>(jack_port_get_buffer(p.out, frames));
    std::fill(out, out + frames, 0.0f);
    if (p.done.load())
        return 0;
    if (!p.impulseSent)
    {
        const int wait = p.cyclesToImpulse.load();
        if (wait < 0)
            return 0;
        if (wait > 0)
        {
            p.cyclesToImpulse.store(wait - 1);
            return 0;
        }
        out[0] = 1.0f;
        p.impulseSent = true;
    }
    const auto* l = static_cast<const float*>(jack_port_get_buffer(p.inLeft, frames));
    const auto* r = static_cast<const float*>(jack_port_get_buffer(p.inRight, frames));
    const auto n = std::min<std::size_t>(frames, p.left.size() - p.recorded);
    std::copy(l, l + n, p.left.begin() + long(p.recorded));
    std::copy(r, r + n, p.right.begin() + long(p.recorded));
    p.recorded += n;
    if (p.recorded == p.left.size())
        p.done.store(true);
    return 0;
}

bool connect(jack_client_t* client, const std::string& from, const std::string& to)
{
    const int status = jack_connect(client, from.c_str(), to.c_str());
    if (status != 0)
        std::fprintf(stderr, "jack_probe: cannot connect %s to %s\n", from.c_str(), to.c_str());
    return status == 0;
}
} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        std::fprintf(stderr, "usage: jack_probe <host client> <seconds>\n");
        return 2;
    }
    const std::string host = argv[1];
    jack_client_t* client = jack_client_open("lamina-probe", JackNoStartServer, nullptr);
    if (client == nullptr)
    {
        std::fprintf(stderr, "jack_probe: no JACK server\n");
        return 1;
    }
    const double rate = jack_get_sample_rate(client);
    Probe probe;
    probe.left.assign(std::size_t(std::atof(argv[2]) * rate), 0.0f);
    probe.right.assign(probe.left.size(), 0.0f);
    probe.out = jack_port_register(client, "out", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
    probe.inLeft = jack_port_register(client, "in_l", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
    probe.inRight = jack_port_register(client, "in_r", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
    jack_set_process_callback(client, process, &probe);
    if (jack_activate(client) != 0)
        return 1;

    const std::string self = jack_get_client_name(client);
    if (!connect(client, self + ":out", host + ":audio_in_1") ||
        !connect(client, host + ":audio_out_1", self + ":in_l") ||
        !connect(client, host + ":audio_out_2", self + ":in_r"))
        return 1;
    probe.cyclesToImpulse.store(8);

    // Bounded only so that a stuck server cannot hang the test; a healthy one finishes in the recorded time.
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!probe.done.load() && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    jack_deactivate(client);
    jack_client_close(client);
    if (!probe.done.load())
    {
        std::fprintf(stderr, "jack_probe: the recording did not complete\n");
        return 1;
    }

    // The impulse comes back a cycle late or at once, depending on the graph's order: windows start at the
    // dry impulse on the left, or at the first sound on the right when there is no dry signal.
    auto first = [](const std::vector<float>& x)
    {
        for (std::size_t i = 0; i < x.size(); ++i)
            if (std::abs(x[i]) > 1e-4f)
                return i;
        return x.size();
    };
    const auto start = std::min(first(probe.left), first(probe.right));
    float leftPeak = 0.0f, rightPeak = 0.0f;
    for (std::size_t i = 0; i < probe.left.size(); ++i)
    {
        leftPeak = std::max(leftPeak, std::abs(probe.left[i]));
        rightPeak = std::max(rightPeak, std::abs(probe.right[i]));
    }
    std::printf("left_peak %.9g\nright_peak %.9g\n", double(leftPeak), double(rightPeak));
    const double windows[][2] = {{0.0, 0.25}, {0.25, 0.75}, {0.75, 1.5}, {1.5, 2.5}};
    for (const auto& w : windows)
    {
        const auto from = std::min(probe.right.size(), start + std::size_t(w[0] * rate));
        const auto to = std::min(probe.right.size(), start + std::size_t(w[1] * rate));
        double sum = 0.0;
        for (auto i = from; i < to; ++i)
            sum += double(probe.right[i]) * probe.right[i];
        std::printf("right_rms %g %g %.9g\n", w[0], w[1],
                    to > from ? std::sqrt(sum / double(to - from)) : 0.0);
    }
    return 0;
}
