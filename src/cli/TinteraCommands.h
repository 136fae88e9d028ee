#pragma once

struct TinteraInvocation;

int tinteraDevicesCommand(TinteraInvocation &invocation);
int tinteraStatusCommand(TinteraInvocation &invocation);
int tinteraFandecksCommand(TinteraInvocation &invocation);
int tinteraSettingsCommand(TinteraInvocation &invocation);
int tinteraSyncCommand(TinteraInvocation &invocation);
int tinteraUpdatesCommand(TinteraInvocation &invocation);
int tinteraExportCommand(TinteraInvocation &invocation);
int tinteraDemoCommand(TinteraInvocation &invocation);
int tinteraMeasurementsCommand(TinteraInvocation &invocation);
int tinteraHistoryCommand(TinteraInvocation &invocation);
