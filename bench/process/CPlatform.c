/* The platform of a host in C, for the loading alone: it gives the library something to bind to, by the names that
 * compilers of C++ make, and needs no C++ run time itself. Only the pool's constructor and destructor are called while
 * the library is loaded and unloaded; a pool of zero bytes has no worker and no task. */
#define IS_THERE(name) \
    void name(void) {}

#pragma GCC visibility push(default)

extern int g_infra_log_lvl;
int g_infra_log_lvl = 5;

IS_THERE(HibSetClientUuid)
IS_THERE(OrnClientRegCredential)
IS_THERE(OrnCreateTarnLinks)
IS_THERE(OrnDeleteTarnLink)
IS_THERE(OrnGetAllLinkInfoByEngine)
IS_THERE(OrnGetLinkInfoByIpPair)
IS_THERE(OrnSetClientUuid)
IS_THERE(ShmBaseCfgGetCfgVal)
IS_THERE(ShmBaseCfgSetCfgVal)
IS_THERE(ZefAddThreadForFc)
IS_THERE(ZefClientInfoSetUuid)
IS_THERE(_ZN10ThreadPool16TimeGetPowerOnMsEv)
IS_THERE(_ZN10ThreadPool5ClearEv)
IS_THERE(_ZN10ThreadPoolC1Eh)
IS_THERE(_ZN10ThreadPoolD1Ev)
IS_THERE(_ZN6IpUtil11IsIpV4ValidERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE)
IS_THERE(_ZN6IpUtil20GetHostIpsCanConnectERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE)
IS_THERE(_ZN7WoxUtil14WoxDecryptDataEjRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE)
IS_THERE(_ZN7WoxUtil22WoxPeriodUpdateRootKeyEjj)
IS_THERE(_ZN7WoxUtil24WoxPeriodUpdateMasterKeyEjjj)
IS_THERE(_ZN7WoxUtil4InitEjRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEES7_)
IS_THERE(_ZN7WoxUtil6FinishEv)
IS_THERE(_ZN7ZEF_CLI20StorageObjectCommand24ProcessShardCardLinkInfoEP11OrnLinkInfoj)
IS_THERE(memset_s)
IS_THERE(nas_log_map_get)
IS_THERE(strcat_s)
IS_THERE(strcpy_s)
IS_THERE(yrax_get_jiffies)
IS_THERE(yrlog)
IS_THERE(yrlog_level_check)
IS_THERE(yrmm_free)
IS_THERE(yrmm_malloc)

#pragma GCC visibility pop
