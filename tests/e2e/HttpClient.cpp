#include "HttpClient.h"

#include <kova/JsonText.h>

#include <strings.h>

#include <algorithm>
#include <cstring>

namespace KOVATest {

namespace {

// Every request ends within this, whatever the daemon does.
constexpr long REQUEST_TIMEOUT_MS = 20000;

struct CurlGlobal {
    CurlGlobal() { curl_global_init(CURL_GLOBAL_DEFAULT); }
    ~CurlGlobal() { curl_global_cleanup(); }
};

void InitCurlOnce()
{
    static CurlGlobal global;
    (void)global;
}

size_t WriteBody(char* data, size_t size, size_t count, void* user)
{
    static_cast<std::string*>(user)->append(data, size * count);
    return size * count;
}

size_t WriteHeader(char* data, size_t size, size_t count, void* user)
{
    auto* lines = static_cast<std::vector<std::string>*>(user);
    std::string line(data, size * count);
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
        line.pop_back();
    // A new status line (after 100 Continue) starts the headers of another response.
    if (line.rfind("HTTP/", 0) == 0)
        lines->clear();
    if (!line.empty())
        lines->push_back(line);
    return size * count;
}

struct ChunkSource {
    const std::string* body;
    size_t offset;
};

size_t ReadChunk(char* buffer, size_t size, size_t count, void* user)
{
    auto* source = static_cast<ChunkSource*>(user);
    // Small pieces, so that the body really goes out in many chunks.
    const size_t n = std::min({size * count, source->body->size() - source->offset, size_t{65536}});
    std::memcpy(buffer, source->body->data() + source->offset, n);
    source->offset += n;
    return n;
}

std::string Escape(const std::string& text)
{
    static const char hex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : text) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
            c == '.' || c == '_' || c == '~') {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
}

} // namespace

Json::Value HttpResult::Json() const
{
    Json::Value value;
    KOVA::fromString(value, body);
    return value;
}

std::string HttpResult::Header(const std::string& name) const
{
    for (const auto& line : headers) {
        const size_t colon = line.find(':');
        if (colon == name.size() && strncasecmp(line.c_str(), name.c_str(), colon) == 0) {
            size_t start = colon + 1;
            while (start < line.size() && line[start] == ' ')
                ++start;
            return line.substr(start);
        }
    }
    return std::string();
}

HttpClient::HttpClient()
{
    InitCurlOnce();
    curl_ = curl_easy_init();
}

HttpClient::~HttpClient()
{
    curl_easy_cleanup(curl_);
}

std::string HttpClient::Encode(const Fields& fields)
{
    std::string text;
    for (const auto& f : fields) {
        if (!text.empty())
            text += '&';
        text += Escape(f.first) + "=" + Escape(f.second);
    }
    return text;
}

void HttpClient::SetSession(const std::string& sid)
{
    headers_.clear();
    if (!sid.empty())
        headers_.push_back("X-Kova-Sid: " + sid);
}

HttpResult HttpClient::Perform(struct curl_slist* headers)
{
    HttpResult result;
    for (const auto& h : headers_)
        headers = curl_slist_append(headers, h.c_str());
    curl_easy_setopt(curl_, CURLOPT_INTERFACE, localAddress_.empty() ? nullptr : localAddress_.c_str());
    if (!caFile_.empty()) {
        curl_easy_setopt(curl_, CURLOPT_CAINFO, caFile_.c_str());
        curl_easy_setopt(curl_, CURLOPT_SSL_VERIFYPEER, 1L);
        curl_easy_setopt(curl_, CURLOPT_SSL_VERIFYHOST, 2L);
    }
    curl_easy_setopt(curl_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl_, CURLOPT_TIMEOUT_MS, REQUEST_TIMEOUT_MS);
    curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, WriteBody);
    curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &result.body);
    curl_easy_setopt(curl_, CURLOPT_HEADERFUNCTION, WriteHeader);
    curl_easy_setopt(curl_, CURLOPT_HEADERDATA, &result.headers);
    if (headers)
        curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers);
    result.curl = curl_easy_perform(curl_);
    curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &result.status);
    curl_easy_getinfo(curl_, CURLINFO_NUM_CONNECTS, &result.newConnections);
    curl_easy_getinfo(curl_, CURLINFO_LOCAL_PORT, &result.localPort);
    char* type = nullptr;
    curl_easy_getinfo(curl_, CURLINFO_CONTENT_TYPE, &type);
    if (type)
        result.contentType = type;
    curl_slist_free_all(headers);
    return result;
}

HttpResult HttpClient::Post(const std::string& url, const std::string& body, const std::string& contentType)
{
    curl_easy_reset(curl_);
    curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl_, CURLOPT_POST, 1L);
    curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    struct curl_slist* headers = curl_slist_append(nullptr, ("Content-Type: " + contentType).c_str());
    return Perform(headers);
}

HttpResult HttpClient::PostChunked(const std::string& url, const std::string& body,
                                   const std::string& contentType)
{
    curl_easy_reset(curl_);
    ChunkSource source{&body, 0};
    curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl_, CURLOPT_POST, 1L);
    curl_easy_setopt(curl_, CURLOPT_READFUNCTION, ReadChunk);
    curl_easy_setopt(curl_, CURLOPT_READDATA, &source);
    struct curl_slist* headers = curl_slist_append(nullptr, ("Content-Type: " + contentType).c_str());
    headers = curl_slist_append(headers, "Transfer-Encoding: chunked");
    return Perform(headers);
}

HttpResult HttpClient::PostMultipart(const std::string& url, const Fields& fields)
{
    curl_easy_reset(curl_);
    curl_mime* mime = curl_mime_init(curl_);
    for (const auto& f : fields) {
        curl_mimepart* part = curl_mime_addpart(mime);
        curl_mime_name(part, f.first.c_str());
        curl_mime_data(part, f.second.data(), f.second.size());
    }
    curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl_, CURLOPT_MIMEPOST, mime);
    HttpResult result = Perform(nullptr);
    curl_mime_free(mime);
    return result;
}

HttpResult HttpClient::Get(const std::string& url)
{
    curl_easy_reset(curl_);
    curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
    return Perform(nullptr);
}

HttpResult HttpClient::Request(const std::string& method, const std::string& url)
{
    curl_easy_reset(curl_);
    curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl_, CURLOPT_CUSTOMREQUEST, method.c_str());
    return Perform(nullptr);
}

} // namespace KOVATest
