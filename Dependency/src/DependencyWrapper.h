#ifndef VEXDEP_DEPENDENCYWRAPPER_H
#define VEXDEP_DEPENDENCYWRAPPER_H

// Base of the platform's dependency wrapper: the layer between the command
// line and the dependency checker. Polymorphic only in its destruction.
class CDependencyWrapper
{
public:
    CDependencyWrapper() = default;
    virtual ~CDependencyWrapper() = default;

    CDependencyWrapper(const CDependencyWrapper&) = delete;
    CDependencyWrapper& operator=(const CDependencyWrapper&) = delete;
};

#endif // VEXDEP_DEPENDENCYWRAPPER_H
