// The least that a whole report can cost: found, read, written, signed and posted.
#pragma once

#include "common/nyx_configurator.h"
#include "floor_search.h"
#include "tls_post.h"

#include <string>
#include <vector>

/// Writes text of the form of another: the same words, every number anew.
class FloorText {
public:
    explicit FloorText(const std::string& model);
    std::string write() const;

private:
    struct Part {
        std::string words;
        double number; ///< behind them
    };
    std::vector<Part> m_parts;
    std::string m_end;
};

/// What the daemon does for one report, by plain calls, with nothing around them: it
/// logs nothing, looks at no setting twice, waits in the calls. Of a node's configuration;
/// failures are thrown as std::runtime_error.
class FloorReport {
public:
    /// Reports `pids`, in text of the form of `model`. With `resumes`, the handshake
    /// takes up the session of the one before.
    FloorReport(nyx::AConfigurator& conf, std::vector<int> pids, const std::string& model,
                bool resumes);
    void make_and_post();

private:
    void write_copy(const std::string& text) const;
    std::string signed_path(const std::string& text) const;

    std::vector<int> m_pids;
    FloorSearch m_search;
    FloorText m_text;
    TlsPost m_post;
    std::string m_copy;
    std::string m_path;   ///< on the server, and the key of the signature
    std::string m_secret; ///< deciphered
    unsigned m_period_ms{1};
};
