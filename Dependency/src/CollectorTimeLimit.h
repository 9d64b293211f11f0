#ifndef VEXDEP_COLLECTORTIMELIMIT_H
#define VEXDEP_COLLECTORTIMELIMIT_H

#include <string>

// Whether, and how long, the checker lets an inventory collector run.
//
// By default a collector is waited for until it ends, however long that
// takes, as the checker always has: the time limit that "PIEConfig.xml"
// declares is not enforced. The environment variable VEXDEP_COLLECTOR_TIMEOUT
// switches a guard on:
//
//   config        each collector gets the limit its "PIEConfig.xml" declares
//   N             (a positive whole number) every collector gets N seconds
//   unset, empty  no limit (the default)
//   or none
//
// Any other value leaves the guard off; the checker names it in its debug
// log.
class CCollectorTimeLimit
{
public:
    enum class EMode
    {
        None,       // wait without limit
        Configured, // the limit of each collector's configuration
        Fixed       // the same number of seconds for every collector
    };

    // The name of the environment variable that sets the limit.
    static const char* const pszVariable;

    // No limit.
    CCollectorTimeLimit() = default;

    // Reads a value as the variable takes it. False when the text is none of
    // the accepted forms; the limit is then None.
    static bool Parse(const std::string& strValue, CCollectorTimeLimit& limit);

    // The limit that the environment sets. When the variable holds a value
    // that is not accepted, the limit is None, strRejected receives the
    // value and the debug log names it.
    static CCollectorTimeLimit FromEnvironment(bool& bRejected, std::string& strRejected);

    // The log line that names a rejected value of the variable.
    static std::string RejectedValueMessage(const std::string& strValue);

    EMode Mode() const { return m_eMode; }
    bool IsOn() const { return m_eMode != EMode::None; }
    long FixedSeconds() const { return m_nFixedSeconds; }

    // The limit in seconds for a collector whose configuration declares
    // nConfiguredSeconds; 0 when the collector is waited for without limit.
    long LimitFor(long nConfiguredSeconds) const;

    // The value of the variable that sets this limit: "none", "config" or
    // the number of seconds.
    std::string ToText() const;

private:
    EMode m_eMode = EMode::None;
    long m_nFixedSeconds = 0;
};

#endif // VEXDEP_COLLECTORTIMELIMIT_H
