/*
 * McxImsaClient: one connection to the modem's IMS Application service for
 * one subscription, bound to it and registered for indications. Its
 * indications go to handleMcxIndication on the messaging library's thread.
 */
#ifndef RCSCONFIG_MCX_IMSA_CLIENT_H
#define RCSCONFIG_MCX_IMSA_CLIENT_H

#include <cstdint>

#include "mcx_client.h"

class ImsMcxApplication;

class McxImsaClient {
public:
    // `owner` is the ImsMcxApplication that receives the indications.
    McxImsaClient(uint8_t sub, void* owner);
    // Releases the connection if it is still open.
    ~McxImsaClient();
    McxImsaClient(const McxImsaClient&) = delete;
    McxImsaClient& operator=(const McxImsaClient&) = delete;

    // Opens the connection; true if it is open (also when it already was).
    bool init();
    // Releases the connection; no indication is delivered after it returns.
    void deInit();
    // Sends the bind request (0x33); returns the transport result.
    int bindToSubscription(int sub);
    // Registers (report flag 1) / deregisters (report flag 0) the indications
    // of the mask's bits; only the token request (0x40000) is known.
    void registerForIndication(unsigned long mask);
    void deregisterForIndication(unsigned long mask);
    void addRemoveIndication(unsigned long mask, bool add);

    uint8_t subscription() const { return mSub; }
    ImsMcxApplication* owner() const { return mOwner; }

private:
    // Sends 0x22 for the mask with the given report flag; false on a transport failure.
    bool sendIndicationRegistration(unsigned long mask, bool report);

    uint8_t mSub;
    ImsMcxApplication* mOwner;
    mcx_client_type mHandle;            // null when closed
    mcx_client_os_params mOsParams;
};

// Indication callback of every McxImsaClient connection; ind_cb_data is the client.
void handleMcxIndication(mcx_client_struct* handle, unsigned int msgId, void* ind_buf,
                         unsigned int ind_buf_len, void* ind_cb_data);

#endif  // RCSCONFIG_MCX_IMSA_CLIENT_H
