// SHA-256 of the art map's levels, through libcrypto (which uses the
// processor's SHA instructions where it has them).
#pragma once

#include <openssl/evp.h>

#include <cstddef>
#include <cstdint>
#include <string>

class Sha256
{
public:
    Sha256() : context(EVP_MD_CTX_new())
    {
        if (context && !EVP_DigestInit_ex(context, EVP_sha256(), nullptr))
        {
            EVP_MD_CTX_free(context);
            context = nullptr;
        }
    }
    ~Sha256() { EVP_MD_CTX_free(context); }
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;

    void Update(const uint8_t* data, size_t size)
    {
        if (context)
            EVP_DigestUpdate(context, data, size);
    }
    // The digest as 64 lowercase hexadecimal digits, or empty where libcrypto
    // failed; the object is spent.
    std::string HexDigest() { return Finish(context); }
    // The digest of what has gone in so far; more may follow.
    std::string HexDigestSoFar() const
    {
        EVP_MD_CTX* copy = EVP_MD_CTX_new();
        std::string hex;
        if (copy && context && EVP_MD_CTX_copy_ex(copy, context))
            hex = Finish(copy);
        EVP_MD_CTX_free(copy);
        return hex;
    }

private:
    static std::string Finish(EVP_MD_CTX* c)
    {
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned int size = 0;
        if (!c || !EVP_DigestFinal_ex(c, digest, &size))
            return std::string();
        static const char kHex[] = "0123456789abcdef";
        std::string out;
        for (unsigned int i = 0; i < size; ++i)
        {
            out += kHex[digest[i] >> 4];
            out += kHex[digest[i] & 15];
        }
        return out;
    }

    EVP_MD_CTX* context;
};
