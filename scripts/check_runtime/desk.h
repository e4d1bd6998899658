// A service in the shape of a generated one, without the client's calls, so
// that a probe that needs a service does not need those. The probes include it
// in their namespace.
enum DeskMethod {
  Desk_Ask,
  Desk_Upload,
  Desk_Listen,
  Desk_Talk,
};

template <DeskMethod>
struct DeskMethods;

template <>
struct DeskMethods<Desk_Ask> {
  static const char* name() { return "Ask"; }
  static const char* full_name() { return "probe.Desk/Ask"; }
  static const ::qarn::rpc::RpcMethodType rpc_type = ::qarn::rpc::RMT_SIMPLE;

  typedef ::check::Request request;
  typedef ::check::Response response;
};

template <>
struct DeskMethods<Desk_Upload> {
  static const char* name() { return "Upload"; }
  static const char* full_name() { return "probe.Desk/Upload"; }
  static const ::qarn::rpc::RpcMethodType rpc_type =
      ::qarn::rpc::RMT_CLIENT_STREAMING;

  typedef ::check::Request request;
  typedef ::check::Response response;
};

template <>
struct DeskMethods<Desk_Listen> {
  static const char* name() { return "Listen"; }
  static const char* full_name() { return "probe.Desk/Listen"; }
  static const ::qarn::rpc::RpcMethodType rpc_type =
      ::qarn::rpc::RMT_SERVER_STREAMING;

  typedef ::check::Request request;
  typedef ::check::Response response;
};

template <>
struct DeskMethods<Desk_Talk> {
  static const char* name() { return "Talk"; }
  static const char* full_name() { return "probe.Desk/Talk"; }
  static const ::qarn::rpc::RpcMethodType rpc_type =
      ::qarn::rpc::RMT_BIDI_STREAMING;

  typedef ::check::Request request;
  typedef ::check::Response response;
};

class Desk {
 public:
  static const char* package() { return "probe"; }
  static const char* name() { return "Desk"; }
  static const char* full_name() { return "probe.Desk"; }

  class Stub : public ::qarn::rpc::StubBase {
   public:
    typedef Desk Service;

    Stub(const std::string& client_name, const std::string& endpoint,
         const ::qarn::rpc::ClientContext& context,
         const boost::shared_ptr< ::qarn::rpc::Channel>&);
  };

  class Service : public ::qarn::rpc::ServiceBase {
   public:
    Service() : _service(NULL) {}
    virtual ~Service();

    typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::check::Response> >
        Handle;

    virtual void Ask(::qarn::rpc::CallContext* context,
                     const ::check::Request& request, const Handle& handle) = 0;
    virtual ::qarn::rpc::CallObserver< ::check::Request>* Upload(
        ::qarn::rpc::CallContext* context, const Handle& handle) = 0;
    virtual void Listen(::qarn::rpc::CallContext* context,
                        const ::check::Request& request,
                        const Handle& handle) = 0;
    virtual ::qarn::rpc::CallObserver< ::check::Request>* Talk(
        ::qarn::rpc::CallContext* context, const Handle& handle) = 0;

    virtual ::qarn::rpc::RpcService* service();

   private:
    ::qarn::rpc::RpcService* _service;
  };
};
