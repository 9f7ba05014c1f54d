// Hexadecimal text, checksum and frames beside the packaged libraries that do the same, and beside a memory copy.
// Names are operation/who/bytes; bytes are those of the binary side, and so are the MB/s.
#include <absl/strings/escaping.h>
#include <absl/strings/str_cat.h>
#include <benchmark/benchmark.h>
#include <botan/hex.h>
#include <cryptopp/filters.h>
#include <cryptopp/hex.h>
#include <nettle/base16.h>
#include <openssl/crypto.h>
#include <sodium.h>
#include <zlib.h>

#include <boost/algorithm/hex.hpp>
#include <cstring>
#include <functional>
#include <numeric>
#include <random>
#include <vector>

#include "base/HexText.h"
#include "transport/FrameCodec.h"

namespace mova::bench {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes someBytes(std::size_t size) {
    std::mt19937 random(1);
    Bytes bytes(size);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

const char* chars(const Bytes& bytes) { return reinterpret_cast<const char*>(bytes.data()); }

// --- bytes to text, into a buffer of the right size

void encodeMova(const Bytes& in, std::string& out) { encodeHexTo(in, out.data()); }
void encodeBotan(const Bytes& in, std::string& out) { Botan::hex_encode(out.data(), in.data(), in.size(), true); }
void encodeNettle(const Bytes& in, std::string& out) { base16_encode_update(out.data(), in.size(), in.data()); }
void encodeSodium(const Bytes& in, std::string& out) {
    sodium_bin2hex(out.data(), out.size() + 1, in.data(), in.size());
}
void encodeOpenSsl(const Bytes& in, std::string& out) {
    std::size_t length = 0;
    OPENSSL_buf2hexstr_ex(out.data(), out.size() + 1, &length, in.data(), in.size(), '\0');
}
void encodeAbseil(const Bytes& in, std::string& out) { out = absl::BytesToHexString({chars(in), in.size()}); }
void encodeBoost(const Bytes& in, std::string& out) { boost::algorithm::hex(in.begin(), in.end(), out.begin()); }
void encodeCryptopp(const Bytes& in, std::string& out) {
    CryptoPP::ArraySource(
        in.data(), in.size(), true,
        new CryptoPP::HexEncoder(new CryptoPP::ArraySink(reinterpret_cast<CryptoPP::byte*>(out.data()), out.size())));
}

// --- text to bytes

void decodeMova(const std::string& in, Bytes& out) { decodeHexTo(in, out.data()); }
void decodeBotan(const std::string& in, Bytes& out) { Botan::hex_decode(out.data(), in.data(), in.size(), false); }
void decodeNettle(const std::string& in, Bytes& out) {
    base16_decode_ctx context;
    base16_decode_init(&context);
    std::size_t length = out.size();
    base16_decode_update(&context, &length, out.data(), in.size(), in.data());
}
void decodeSodium(const std::string& in, Bytes& out) {
    std::size_t length = 0;
    sodium_hex2bin(out.data(), out.size(), in.data(), in.size(), nullptr, &length, nullptr);
}
void decodeOpenSsl(const std::string& in, Bytes& out) {
    std::size_t length = 0;
    OPENSSL_hexstr2buf_ex(out.data(), out.size(), &length, in.c_str(), '\0');
}
void decodeAbseil(const std::string& in, Bytes& out) {
    const std::string bytes = absl::HexStringToBytes(in);
    benchmark::DoNotOptimize(bytes.data());
    out[0] = static_cast<std::uint8_t>(bytes[0]);
}
void decodeBoost(const std::string& in, Bytes& out) { boost::algorithm::unhex(in.begin(), in.end(), out.begin()); }
void decodeCryptopp(const std::string& in, Bytes& out) {
    CryptoPP::StringSource(in, true, new CryptoPP::HexDecoder(new CryptoPP::ArraySink(out.data(), out.size())));
}

std::uint8_t exclusiveOr(const Bytes& bytes) {
    return std::reduce(bytes.begin(), bytes.end(), std::uint8_t{0}, std::bit_xor<std::uint8_t>());
}

void encode(benchmark::State& state, void (*work)(const Bytes&, std::string&)) {
    const Bytes in = someBytes(static_cast<std::size_t>(state.range(0)));
    std::string out(2 * in.size(), ' ');
    for (auto _ : state) {
        work(in, out);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    std::string expected = Botan::hex_encode(in.data(), in.size());
    if (out != expected && out != absl::AsciiStrToLower(expected)) state.SkipWithError("wrong text");
    state.SetBytesProcessed(state.range(0) * state.iterations());
}

void decode(benchmark::State& state, void (*work)(const std::string&, Bytes&)) {
    const Bytes expected = someBytes(static_cast<std::size_t>(state.range(0)));
    const std::string in = Botan::hex_encode(expected.data(), expected.size());
    Bytes out(expected.size());
    for (auto _ : state) {
        work(in, out);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    if (work != decodeAbseil && out != expected) state.SkipWithError("wrong bytes");
    state.SetBytesProcessed(state.range(0) * state.iterations());
}

// The larger side, as a memory copy moves it.
void copyText(benchmark::State& state) {
    const std::string in(2 * static_cast<std::size_t>(state.range(0)), 'A');
    std::string out = in;
    for (auto _ : state) {
        std::memcpy(out.data(), in.data(), in.size());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.range(0) * state.iterations());
}

void checksum(benchmark::State& state, std::uint8_t (*work)(const std::string&, Bytes&)) {
    const Bytes bytes = someBytes(static_cast<std::size_t>(state.range(0)));
    const std::string text = Botan::hex_encode(bytes.data(), bytes.size());
    Bytes room(bytes.size());
    for (auto _ : state) {
        const std::uint8_t sum = work(text, room);
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(state.range(0) * state.iterations());
}

std::uint8_t checksumMova(const std::string& text, Bytes&) { return hexChecksum(text); }
std::uint8_t checksumNettle(const std::string& text, Bytes& room) {
    decodeNettle(text, room);
    return exclusiveOr(room);
}
std::uint8_t checksumAbseil(const std::string& text, Bytes&) {
    const std::string bytes = absl::HexStringToBytes(text);
    return static_cast<std::uint8_t>(std::reduce(bytes.begin(), bytes.end(), char{0}, std::bit_xor<char>()));
}
std::uint8_t checksumBotan(const std::string& text, Bytes& room) {
    decodeBotan(text, room);
    return exclusiveOr(room);
}
// Another checksum of the same text, by the library that is known for it.
std::uint8_t checksumZlib(const std::string& text, Bytes&) {
    return static_cast<std::uint8_t>(
        adler32(1, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size())));
}

// --- frames, of a request's usual 240 characters

const std::string kPayload = Botan::hex_encode(someBytes(123).data(), 123);
std::string lengthText(std::string_view payload) {
    const auto length = static_cast<std::uint16_t>(payload.size() / 2 + 1);
    const char bytes[2] = {static_cast<char>(length & 0xFF), static_cast<char>(length >> 8)};
    return absl::AsciiStrToUpper(absl::BytesToHexString({bytes, 2}));
}

std::string buildMova(const std::string& payload) { return buildRequest(payload); }

// What a program would write on top of a packaged library.
template <std::uint8_t (*Checksum)(const std::string&, Bytes&)>
std::string buildWith(const std::string& payload) {
    const std::string body = absl::StrCat(lengthText(payload), payload);
    Bytes room(body.size() / 2);
    const char sum = static_cast<char>(Checksum(body, room));
    return absl::StrCat("AT*MOVA=", body, absl::AsciiStrToUpper(absl::BytesToHexString({&sum, 1})), "\r");
}

void build(benchmark::State& state, std::string (*work)(const std::string&)) {
    for (auto _ : state) {
        std::string frame = work(kPayload);
        benchmark::DoNotOptimize(frame.data());
    }
    if (work(kPayload) != buildRequest(kPayload)) state.SkipWithError("wrong frame");
    state.SetBytesProcessed(static_cast<std::int64_t>(kPayload.size() / 2) * state.iterations());
}

// A confirmation line is parsed and its payload turned into bytes.
std::size_t parseMova(const std::string& line, Bytes& out) {
    const ParsedConfirmation parsed = parseConfirmation(line);
    decodeHexTo(parsed.payload, out.data());
    return parsed.status == Code::Success ? parsed.payload.size() / 2 : 0;
}
template <void (*Decode)(const std::string&, Bytes&)>
std::size_t parseWith(const std::string& line, Bytes& out) {
    if (!line.starts_with("*MOVA=")) return 0;
    Decode(line.substr(6), out);
    if (exclusiveOr(out) != 0) return 0;  // the checksum makes the whole zero
    return out.size() - 3;
}

void parse(benchmark::State& state, std::size_t (*work)(const std::string&, Bytes&)) {
    const std::string request = buildRequest(kPayload);
    const std::string line = "*MOVA=" + request.substr(8, request.size() - 9);
    Bytes out((line.size() - 6) / 2);
    std::size_t bytes = 0;
    for (auto _ : state) {
        bytes = work(line, out);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    if (bytes != kPayload.size() / 2) state.SkipWithError("not parsed");
    state.SetBytesProcessed(static_cast<std::int64_t>(kPayload.size() / 2) * state.iterations());
}

void sizes(benchmark::internal::Benchmark* benchmark) { benchmark->Arg(120)->Arg(4096); }

BENCHMARK_CAPTURE(encode, mova, encodeMova)->Apply(sizes);
BENCHMARK_CAPTURE(encode, Abseil, encodeAbseil)->Apply(sizes);
BENCHMARK_CAPTURE(encode, Boost.Algorithm, encodeBoost)->Apply(sizes);
BENCHMARK_CAPTURE(encode, Botan, encodeBotan)->Apply(sizes);
BENCHMARK_CAPTURE(encode, Crypto++, encodeCryptopp)->Apply(sizes);
BENCHMARK_CAPTURE(encode, Nettle, encodeNettle)->Apply(sizes);
BENCHMARK_CAPTURE(encode, OpenSSL, encodeOpenSsl)->Apply(sizes);
BENCHMARK_CAPTURE(encode, libsodium, encodeSodium)->Apply(sizes);
BENCHMARK_CAPTURE(decode, mova, decodeMova)->Apply(sizes);
BENCHMARK_CAPTURE(decode, Abseil, decodeAbseil)->Apply(sizes);
BENCHMARK_CAPTURE(decode, Boost.Algorithm, decodeBoost)->Apply(sizes);
BENCHMARK_CAPTURE(decode, Botan, decodeBotan)->Apply(sizes);
BENCHMARK_CAPTURE(decode, Crypto++, decodeCryptopp)->Apply(sizes);
BENCHMARK_CAPTURE(decode, Nettle, decodeNettle)->Apply(sizes);
BENCHMARK_CAPTURE(decode, OpenSSL, decodeOpenSsl)->Apply(sizes);
BENCHMARK_CAPTURE(decode, libsodium, decodeSodium)->Apply(sizes);
BENCHMARK(copyText)->Apply(sizes);
BENCHMARK_CAPTURE(checksum, mova, checksumMova)->Apply(sizes);
BENCHMARK_CAPTURE(checksum, Abseil, checksumAbseil)->Apply(sizes);
BENCHMARK_CAPTURE(checksum, Botan, checksumBotan)->Apply(sizes);
BENCHMARK_CAPTURE(checksum, Nettle, checksumNettle)->Apply(sizes);
BENCHMARK_CAPTURE(checksum, zlib, checksumZlib)->Apply(sizes);
BENCHMARK_CAPTURE(build, mova, buildMova);
BENCHMARK_CAPTURE(build, Abseil, buildWith<checksumAbseil>);
BENCHMARK_CAPTURE(build, Botan, buildWith<checksumBotan>);
BENCHMARK_CAPTURE(build, Nettle, buildWith<checksumNettle>);
BENCHMARK_CAPTURE(parse, mova, parseMova);
BENCHMARK_CAPTURE(parse, Botan, parseWith<decodeBotan>);
BENCHMARK_CAPTURE(parse, Nettle, parseWith<decodeNettle>);
BENCHMARK_CAPTURE(parse, OpenSSL, parseWith<decodeOpenSsl>);

}  // namespace
}  // namespace mova::bench
