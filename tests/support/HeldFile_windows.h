#pragma once

#include <QString>

/// While it lives, nothing can open the file \p path.
class HeldFile
{
public:
    explicit HeldFile(const QString &path);
    ~HeldFile();
    HeldFile(const HeldFile &) = delete;
    HeldFile &operator=(const HeldFile &) = delete;

    bool isHeld() const;

private:
    void *const m_handle;
};
